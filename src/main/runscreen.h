#pragma once

#include "runview.h"

#include <QObject>

class JobListPanel;
class QProgressBar;
class StatusPanels;

/// A run on the main window: the job's row, the status panels, the progress bar and the pointer.
class RunScreen final : public QObject, public RunView
{
    Q_OBJECT

public:
    RunScreen(JobListPanel &jobs, StatusPanels &panels, QProgressBar &progress, QWidget &window);

    void showRow(const JobRow &row) override;
    void showPanel(Panel panel, const QString &text) override;
    void showProgress(float percent) override;
    void showWaiting(bool waiting) override;
    void setRunning(bool running) override;
    void highlightRow(const JobRow &row, bool reload) override;
    void openOptions() override;

signals:
    void runningChanged(bool running);
    /// The row's job is to be shown again, as if it had been clicked.
    void rowReloaded();
    void optionsWanted();

private:
    JobListPanel &m_jobs;
    StatusPanels &m_panels;
    QProgressBar &m_progress;
    QWidget &m_window;
};
