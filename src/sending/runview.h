#pragma once

#include <QString>

class JobRow;

/// What a run shows while it goes: the main window, or the console's terminal.
class RunView
{
public:
    /// The status bar's panels that a run writes, by their number in the bar.
    enum Panel { Current = 3, LastStatus = 4, Sent = 5, Success = 6, Failed = 7 };

    virtual ~RunView() = default;

    /// The cells of the job row have changed.
    virtual void showRow(const JobRow &row) = 0;
    virtual void showPanel(Panel panel, const QString &text) = 0;
    /// 0 to 100.
    virtual void showProgress(float percent) = 0;
    /// The wait pointer, or the normal one.
    virtual void showWaiting(bool waiting) = 0;
    /// While a run goes on, every command but "Pause" is disabled.
    virtual void setRunning(bool running) = 0;
    /// The row is the one being worked on: highlighted, its details shown again where `reload`.
    virtual void highlightRow(const JobRow &row, bool reload) = 0;
    /// Lets the operator enter what a run lacks, the server above all.
    virtual void openOptions() = 0;
};
