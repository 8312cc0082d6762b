#pragma once

#include <QGuiApplication>

/// Shows the busy pointer while it lives, for a step that may take its time.
class WaitPointer
{
public:
    WaitPointer() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitPointer() { QGuiApplication::restoreOverrideCursor(); }
    Q_DISABLE_COPY(WaitPointer)
};
