#pragma once

#include <QObject>

/// Notices that the program is told to end (the desktop's session closes). It then closes its
/// windows one by one, and stays when one of them refuses.
class QuitRequest final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// From now on; what was noticed before is forgotten.
    void watch();
    void unwatch();
    bool isMade() const { return m_isMade; }
    /// Tells the program to end once more, where it was told since watch(): a window at work
    /// refuses.
    void repeat();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_isMade = false;
};
