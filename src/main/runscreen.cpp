#include "runscreen.h"

#include "statuspanel.h"
#include "waitpointer.h"

#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QStatusBar>

namespace
{

using namespace std::chrono_literals;

QString timeLeft(const RunProgress &progress)
{
    if (!progress.expectedEnd.isValid())
        return {}; // too early to tell
    const QDateTime now = QDateTime::currentDateTime();
    const qint64 seconds = now.secsTo(progress.expectedEnd);
    const qint64 minutes = (seconds + 30) / 60;
    if (minutes <= 0)
        return RunScreen::tr(" · %1 s left").arg(std::max<qint64>(seconds, 1));
    if (minutes < 60)
        return RunScreen::tr(" · %1 min left").arg(minutes);
    return RunScreen::tr(" · until %1").arg(pointInTime(progress.expectedEnd));
}

/// What the third panel says of the recipient at work.
QString current(const RunProgress &progress)
{
    const bool isRerun = progress.rerun > 0;
    switch (progress.phase) {
    case RunProgress::Phase::Connecting:
        return (isRerun ? RunScreen::tr("Resend fail emails, connecting to %1 ... ")
                        : RunScreen::tr("Connecting to %1 ... "))
            .arg(progress.server);
    case RunProgress::Phase::WaitingForList:
        return RunScreen::tr("The mail list is in use; waiting to record %1 ...")
            .arg(progress.address);
    case RunProgress::Phase::WaitingForServer:
        return RunScreen::tr("The server takes nothing; tried again at %1: %2")
            .arg(QLocale().toString(progress.until.time(), QStringLiteral("HH:mm:ss")),
                 progress.trouble);
    case RunProgress::Phase::WaitingForLimit:
        return RunScreen::tr("The limit is reached; goes on at %1")
            .arg(pointInTime(progress.until));
    case RunProgress::Phase::WaitingToRerun:
        return RunScreen::tr("The failures are tried again at %1").arg(pointInTime(progress.until));
    case RunProgress::Phase::Ended:
        return {};
    default:
        return (isRerun ? RunScreen::tr(" Resend to %1") : RunScreen::tr(" Send to %1"))
            .arg(progress.address);
    }
}

QString lastStatus(const RunProgress &progress)
{
    if (progress.phase == RunProgress::Phase::Ended || progress.last == RunProgress::Outcome::None)
        return {};
    return progress.last == RunProgress::Outcome::Success ? RunScreen::tr("Last Status : Success")
           : progress.last == RunProgress::Outcome::InDoubt
               ? RunScreen::tr("Last Status : In doubt")
               : RunScreen::tr("Last Status : Failed");
}

} // namespace

RunScreen::RunScreen(QStatusBar &bar, QProgressBar &progress, QWidget &window)
    : m_progress(progress)
    , m_window(window)
{
    // The panels that name servers, addresses and outcomes share what the counts leave.
    constexpr std::array<int, Failed> stretch = {0, 4, 4, 2, 0, 0, 0};
    for (size_t i = 0; i < m_panels.size(); ++i) {
        m_panels[i] = addStatusPanel(bar, stretch[i]);
        if (stretch[i] == 0)
            m_panels[i]->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    }
    m_progress.hide();
}

void RunScreen::setText(Panel panel, const QString &text)
{
    m_panels[size_t(panel) - 1]->setText(text);
}

void RunScreen::showJob(qint64 jobId)
{
    if (m_isRunning || jobId == m_jobId)
        return;
    for (const Panel panel : {Sent, Success, Failed})
        setText(panel, {});
}

void RunScreen::beginPass(const JobRow &row)
{
    m_isRunning = true;
    m_jobId = row.number(JobCell::Id);
    showWaiting(m_window, true);
    m_progress.show();
    emit runningChanged(true);
}

void RunScreen::showProgress(const RunProgress &progress)
{
    setText(Current, current(progress));
    setText(LastStatus, lastStatus(progress));
    const bool isOver = progress.phase == RunProgress::Phase::Ended;
    const RunProgress::Count &count = isOver ? progress.whole : progress.pass;
    setText(Sent, tr("Sent:%1").arg(count.sent()));
    setText(Success, tr("Success:%1").arg(count.succeeded));
    setText(Failed, tr("Failed:%1").arg(count.failed) +
                        (count.inDoubt > 0 ? tr(" In doubt:%1").arg(count.inDoubt) : QString()));
    // After a pause those who were handled before it count too.
    const qint64 done = progress.selected - progress.toHandle + progress.pass.sent();
    m_progress.setMaximum(int(std::max(progress.selected, qint64(1))));
    m_progress.setValue(int(done));
    m_progress.setFormat(
        tr("%1 of %2").arg(QLocale().toString(done), QLocale().toString(progress.selected)) +
        timeLeft(progress));
    emit rowChanged(progress.row);
}

void RunScreen::endPass(const JobRow &row, bool)
{
    m_isRunning = false;
    showWaiting(m_window, false);
    m_progress.hide();
    emit rowChanged(row);
    emit runningChanged(false);
}
