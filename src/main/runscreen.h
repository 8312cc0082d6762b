#pragma once

#include "runview.h"

#include <QObject>

#include <array>

class QLabel;
class QProgressBar;
class QStatusBar;
class QWidget;

/// A run on the main window: the status bar, the progress bar and the pointer. Between runs the
/// status bar tells other things too.
class RunScreen final : public QObject, public RunView
{
    Q_OBJECT

public:
    /// The status bar's panels, by their number in the bar. The first one is free; the transport's
    /// status is in the second, and the preview's position, while nothing is sent, in `Current`.
    enum Panel { Transport = 2, Current, LastStatus, Sent, Success, Failed };

    RunScreen(QStatusBar &bar, QProgressBar &progress, QWidget &window);

    void setText(Panel panel, const QString &text);
    /// The window shows this job now, 0 for none: what is told of another one's run goes.
    void showJob(qint64 jobId);

    void beginPass(const JobRow &row) override;
    void showProgress(const RunProgress &progress) override;
    void noteFailure(const QString &, const QString &) override {}
    void endPass(const JobRow &row, bool isStored) override;
    void showRow(const JobRow &row) override { emit rowChanged(row); }
    void openOptions() override { emit optionsWanted(); }

signals:
    void runningChanged(bool running);
    void rowChanged(const JobRow &row);
    void optionsWanted();

private:
    std::array<QLabel *, Failed> m_panels;
    QProgressBar &m_progress;
    QWidget &m_window;
    bool m_isRunning = false;
    qint64 m_jobId = 0; ///< whose run the panels tell of
};
