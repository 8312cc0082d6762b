#pragma once

#include <QGuiApplication>
#include <QWidget>

/// Shows the busy pointer while it lives, for a step that may take its time.
class WaitPointer
{
public:
    WaitPointer() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitPointer() { QGuiApplication::restoreOverrideCursor(); }
    Q_DISABLE_COPY(WaitPointer)
};

/// The busy pointer over one window, for work during which the others can be used.
inline void showWaiting(QWidget &window, bool isWaiting)
{
    if (isWaiting)
        window.setCursor(Qt::WaitCursor);
    else
        window.unsetCursor();
}
