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

    void beginPass(const JobRow &row) override;
    void showProgress(const RunProgress &progress) override;
    void noteFailure(const QString &, const QString &) override {}
    void endPass(const JobRow &row, bool isStored) override;
    void showRow(const JobRow &row) override;
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
