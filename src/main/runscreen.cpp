#include "runscreen.h"

#include "joblistpanel.h"
#include "statuspanels.h"
#include "waitpointer.h"

#include <QProgressBar>

RunScreen::RunScreen(JobListPanel &jobs, StatusPanels &panels, QProgressBar &progress,
                     QWidget &window)
    : m_jobs(jobs)
    , m_panels(panels)
    , m_progress(progress)
    , m_window(window)
{
}

void RunScreen::showRow(const JobRow &row)
{
    m_jobs.updateRow(row);
}

void RunScreen::showPanel(Panel panel, const QString &text)
{
    m_panels.setText(panel, text);
}

void RunScreen::showProgress(float percent)
{
    m_progress.setValue(int(percent * float(m_progress.maximum()) / 100));
}

void RunScreen::showWaiting(bool waiting)
{
    ::showWaiting(m_window, waiting);
}

void RunScreen::setRunning(bool running)
{
    m_jobs.setRunning(running);
    emit runningChanged(running);
}

void RunScreen::highlightRow(const JobRow &row, bool reload)
{
    m_jobs.highlight(row);
    if (reload)
        emit rowReloaded();
}

void RunScreen::openOptions()
{
    emit optionsWanted();
}
