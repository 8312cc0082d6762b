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

void RunScreen::beginPass(const JobRow &row)
{
    m_jobs.setRunning(true);
    emit runningChanged(true);
    m_jobs.highlight(row);
}

void RunScreen::showProgress(const RunProgress &progress)
{
    using Phase = RunProgress::Phase;
    using Outcome = RunProgress::Outcome;
    const bool isOver = progress.phase == Phase::Ended;
    QString current;
    if (progress.phase == Phase::Connecting)
        current = (progress.rerun == 0 ? QStringLiteral("Connecting to ")
                                       : QStringLiteral("Resend fail emails, connecting to ")) +
                  progress.server + QStringLiteral(" ... ");
    else if (progress.phase == Phase::WaitingForList)
        current = tr("The maillist is in use, waiting ...");
    else if (!isOver)
        current =
            (progress.rerun == 0 ? QStringLiteral(" Send to ") : QStringLiteral(" Resend to ")) +
            progress.address;
    m_panels.setText(StatusPanels::current, current);
    m_panels.setText(StatusPanels::lastStatus, isOver || progress.last == Outcome::None ? QString()
                                               : progress.last == Outcome::Success
                                                   ? QStringLiteral("Last Status : Success")
                                                   : QStringLiteral("Last Status : Failed"));
    const RunProgress::Count &count = isOver ? progress.whole : progress.pass;
    m_panels.setText(StatusPanels::sent, QStringLiteral("Sent:%1").arg(count.sent()));
    m_panels.setText(StatusPanels::success, QStringLiteral("Success:%1").arg(count.succeeded));
    m_panels.setText(StatusPanels::failed, QStringLiteral("Failed:%1").arg(count.failed));
    m_progress.setValue(isOver ? 0 : int(progress.percent() * m_progress.maximum() / 100));
    ::showWaiting(m_window, !isOver && progress.phase != Phase::Waiting);
    m_jobs.updateRow(progress.row);
}

void RunScreen::endPass(const JobRow &row, bool isStored)
{
    m_jobs.setRunning(false);
    emit runningChanged(false);
    m_jobs.highlight(row);
    if (isStored)
        emit rowReloaded();
}

void RunScreen::showRow(const JobRow &row)
{
    m_jobs.updateRow(row);
}

void RunScreen::openOptions()
{
    emit optionsWanted();
}
