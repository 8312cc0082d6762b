#pragma once

#include <QObject>

class QKeyEvent;

/// Whether Caps Lock and Num Lock are on, as the keys typed tell: there is no asking for it on
/// every desktop.
class KeyStates final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    bool capsLock() const { return m_capsLock; }
    bool numLock() const { return m_numLock; }
    /// A key was pressed.
    void observe(const QKeyEvent &event);

signals:
    void changed();

private:
    bool m_capsLock = false;
    bool m_numLock = true;
};
