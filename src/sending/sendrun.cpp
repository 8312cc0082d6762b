#include "sendrun.h"

#include "jobstore.h"

#include "clock.h"
#include "connection.h"
#include "operator.h"
#include "programfolder.h"
#include "sendmail.h"

#include <QLocale>
#include <QScopeGuard>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QString shown(qint64 number)
{
    return QLocale().toString(number);
}

} // namespace

SendRun::SendRun(const ProgramFolder &folder, SendMail &mail, const LiveSettings &settings,
                 Operator &op, RunView &view, Clock &clock, Yield &yield, const RunOptions &options)
    : m_settings(settings)
    , m_view(view)
    , m_options(options)
    , m_display(view, options.show)
    , m_seams{folder, mail, op, view, clock, yield, m_options, m_display, m_control}
{
}

SendRun::Result SendRun::start(const JobRow &row, const JobMessage &message, bool failedOnly)
{
    m_running = true;
    const auto finish = qScopeGuard([this] { m_running = false; });
    m_display.progress = {};
    m_display.progress.row = row;
    m_isAsked = false;
    m_plan = {};
    m_account = {};
    std::optional<ListLock> lock;
    try {
        lock.emplace(m_seams.folder, row.number(JobCell::MaillistId));
    } catch (const StorageError &e) {
        m_seams.op.tell(e.description());
        return Result::ListInUse;
    }
    try {
        Connection system(m_seams.folder.systemConnectionString());
        JobRow &stored = m_display.progress.row;
        stored = loadJob(system, row.number(JobCell::Id));
        system.close();
        Connection list(m_seams.folder.listConnectionString(row.number(JobCell::MaillistId)));
        if (Ledger::isIn(list)) {
            settleRuns(list);
            adoptRun(m_seams.folder, list, stored);
        }
        m_plan.kind = RunKind::Resend;
        if (!failedOnly)
            m_plan = planOfStart(list, stored);
        m_display.progress.failedOnly = m_plan.isOverFailures();
        if (!isAsShown(row, stored))
            return Result::Declined;
    } catch (const StorageError &e) {
        m_seams.op.tell(e.report(), u"Error"_s);
        return Result::StorageFailed;
    }
    for (;;) {
        const Result result = runPass(message);
        if (result != Result::Complete || !isRerunWanted())
            return result;
    }
}

/// Another program may have run the job since its row was read: then the operator is shown what it
/// is, and asked.
bool SendRun::isAsShown(const JobRow &shown, const JobRow &stored)
{
    constexpr std::array told = {JobCell::Progress, JobCell::Total,  JobCell::Unsent,
                                 JobCell::Success,  JobCell::Failed, JobCell::LastSentId};
    if (std::all_of(told.begin(), told.end(),
                    [&](JobCell cell) { return shown[cell] == stored[cell]; }))
        return true;
    m_view.showRow(stored);
    const bool isRepeat = m_plan.kind == RunKind::Start && repeatOf(m_seams.folder, stored);
    const QString text = u"Job [%1] has changed since it was shown here. Now it "
                         "is %2: of %3 recipients %4 have had the email, and %5 failed.%6"_s;
    const QStringList buttons = {u"Start"_s, u"Cancel"_s};
    return m_seams.op.choose(
               text.arg(stored[JobCell::Name],
                        stored[JobCell::Progress].isEmpty()
                            ? u"not started"_s
                            : u"\"%1\""_s.arg(stored[JobCell::Progress]),
                        stored[JobCell::Total], stored[JobCell::Success], stored[JobCell::Failed],
                        isRepeat ? u" \"Start\" sends it to everybody again."_s : QString()),
               u"Job Manager"_s, buttons, 1) == 0;
}

/// What a pass needs that may be missing.
std::optional<SendRun::Result> SendRun::obstacle(const JobMessage &message,
                                                 const Settings &settings)
{
    if (settings.smtpServer.isEmpty()) {
        m_seams.op.tell(u"Please enter a SMTP server in the Options Window and send again !"_s);
        m_view.openOptions();
        return Result::NoServer;
    }
    if (const QString path = message.missingAttachment(); !path.isEmpty()) {
        m_seams.op.tell(u"Attachment not found : %1 !"_s.arg(path));
        return Result::MissingAttachment;
    }
    m_unsubscribed.emplace(settings.unsubscribed);
    try {
        m_unsubscribed->add(loadUnsubscribeList(m_seams.folder));
    } catch (const StorageError &e) {
        m_seams.op.tell(e.description());
        return Result::NoUnsubscribeList;
    }
    return {};
}

/// Asks what the command that began the run leaves open.
bool SendRun::isPlanWanted(Connection &list, const SentContent &content)
{
    if (std::exchange(m_isAsked, true))
        return true;
    if (m_plan.kind == RunKind::Resend && m_plan.pass == 0) {
        m_plan.withDoubts = areDoubtsWanted(countRecipients(list, Ledger::inDoubt()));
        return true;
    }
    const ChangedContent changed = changedContent(list, m_display.progress.row, m_plan, content);
    if (changed.haveOld == 0 || changed.left == 0 || m_options.sendChanged)
        return true;
    return m_seams.op.choose(u"%1 have the old text. Send the new one to the %2 left?"_s.arg(
                                 shown(changed.haveOld), shown(changed.left)),
                             u"Job Manager"_s, {u"Yes"_s, u"No"_s}, 1) == 0;
}

bool SendRun::areDoubtsWanted(qint64 inDoubt)
{
    if (inDoubt == 0 || m_options.doubts != RunOptions::Doubts::Ask)
        return m_options.doubts == RunOptions::Doubts::Send;
    return m_seams.op.ask(
        (inDoubt == 1 ? u"1 recipient is in doubt: the email may have arrived.\r\n"
                        "Do you want to send it again?"_s
                      : u"%1 recipients are in doubt: the email may have "
                        "arrived.\r\nDo you want to send it to them again?"_s.arg(shown(inDoubt))),
        u"Resend fail emails "_s);
}

SendRun::Result SendRun::runPass(const JobMessage &message)
{
    const Settings settings = m_settings.current();
    if (const auto found = obstacle(message, settings))
        return *found;
    RunProgress &progress = m_display.progress;
    JobRow &row = progress.row;
    const JobRow before = row;
    m_unrecorded.clear();
    QString trouble;
    bool hasBegun = false;
    try {
        Connection list(m_seams.folder.listConnectionString(row.number(JobCell::MaillistId)));
        const SentContent content = contentOf(message);
        if (!isPlanWanted(list, content))
            return Result::Declined;
        m_control.isStopRequested = m_ending;
        progress.pass = {};
        progress.last = RunProgress::Outcome::None;
        progress.reason.clear();
        progress.rerun = m_plan.rerun;
        progress.failedOnly = m_plan.isOverFailures();
        progress.place = row.number(JobCell::LastSentId);
        m_view.beginPass(row);
        hasBegun = true;
        row[JobCell::Progress] = u"Sending"_s;
        row[JobCell::Start] = jobTimeStamp(m_seams.clock.now());
        BegunPass begun = beginPass(list, row, m_plan, content);
        SendPass pass(m_seams, list, begun, message, settings, *m_unsubscribed);
        progress.selected = progress.failedOnly ? progress.toHandle : countRecipients(list);
        row.setNumber(JobCell::Total, progress.selected);
        if (m_plan.kind == RunKind::Rerun && progress.whole.sent() == 0)
            progress.whole.failed = progress.toHandle;
        const auto keepUnrecorded = qScopeGuard([&] { m_unrecorded = pass.unrecorded(); });
        pass.run();
        trouble = pass.trouble();
        finish(begun.run, pass.isCutShort());
    } catch (const StorageError &e) {
        if (!hasBegun) {
            m_view.beginPass(row);
            m_display.progress.pass = {};
        }
        stopOnError(before, e);
        return Result::StorageFailed;
    }
    m_display.show(RunProgress::Phase::Ended);
    m_view.endPass(row, true);
    if (!trouble.isEmpty() && !m_ending)
        m_seams.op.tell(
            u"Job [%1] is paused, because the server takes no email at the moment: "
            "%2\r\n\"Start\" goes on where it stopped."_s.arg(row[JobCell::Name], trouble));
    return row[JobCell::Progress] == "Paused"_L1 ? Result::Paused : Result::Complete;
}

/// Stores how the run ended. The list says it first, so that whatever cuts this off, the job gets
/// it in the end.
void SendRun::finish(LedgerRun &run, bool isCutShort)
{
    const RunProgress &progress = m_display.progress;
    JobRow ended = progress.row;
    Connection list(m_seams.folder.listConnectionString(ended.number(JobCell::MaillistId)));
    recountRecipients(list, ended);
    ended[JobCell::End] = jobTimeStamp(m_seams.clock.now());
    const bool isComplete =
        !isCutShort && (progress.pass.sent() >= progress.selected || !m_control.isStopRequested);
    if (!progress.failedOnly)
        ended.setNumber(JobCell::LastSentId, isComplete ? 0 : progress.place);
    ended[JobCell::Progress] = isComplete ? u"Complete"_s : u"Paused"_s;
    run.ended = ended[JobCell::End];
    run.how = ended[JobCell::Progress];
    run.place = ended.number(JobCell::LastSentId);
    Ledger ledger(list);
    ledger.end(run);
    m_display.progress.row = ended;
    storeJobRow(m_seams.folder, ended);
    try {
        ledger.markStored(run.jobId);
    } catch (const StorageError &) {
        // It is stored once more when the next run begins.
    }
}

void SendRun::stopOnError(const JobRow &before, const StorageError &error)
{
    JobRow &row = m_display.progress.row;
    const bool isEnded = row[JobCell::Progress] != "Sending"_L1; // and was not stored
    if (!isEnded) {
        const bool isTouched = m_display.progress.pass.sent() > 0;
        const QString start = row[JobCell::Start];
        row = before;
        if (isTouched) {
            row[JobCell::Start] = start;
            row[JobCell::Progress] = u"Paused"_s;
            row[JobCell::End] = jobTimeStamp(m_seams.clock.now());
        }
        try {
            // As if it were cut off, which it is.
            Connection list(m_seams.folder.listConnectionString(row.number(JobCell::MaillistId)));
            if (Ledger::isIn(list)) {
                settleRuns(list);
                adoptRun(m_seams.folder, list, row);
            }
        } catch (const StorageError &) {
            // The next start of the job finds the rest in the list.
        }
    }
    m_display.show(RunProgress::Phase::Ended);
    m_view.endPass(row, false);
    QString text = error.report();
    if (!m_unrecorded.isEmpty())
        text += u"\r\n"_s + m_unrecorded;
    m_seams.op.tell(text, u"Error"_s);
}

/// Plans the rerun over the temporary failures of the series, where there are any; otherwise tells
/// how the job ended.
bool SendRun::isRerunWanted()
{
    if (m_ending)
        return false;
    const JobRow &row = m_display.progress.row;
    Account &account = m_account;
    qint64 temporary = 0;
    QString doubtful;
    try {
        Connection list(m_seams.folder.listConnectionString(row.number(JobCell::MaillistId)));
        const Ledger ledger(list);
        const auto series = ledger.seriesOf(row.number(JobCell::Id));
        if (!series)
            return false;
        account = accountOf(list, series->number);
        temporary = countRecipients(list, ledger.temporaryFailures(*series, false));
        const Recordset doubts(list, u"select email from email"_s + ledger.inDoubt(*series));
        if (!doubts.atEnd())
            doubtful = doubts.current().text(u"email"_s);
    } catch (const StorageError &e) {
        m_seams.op.tell(e.report(), u"Error"_s);
        return false;
    }
    if (temporary == 0) {
        QString text = u"Job [%1] completed successfully."_s.arg(row[JobCell::Name]);
        if (account.failed + account.inDoubt > 0)
            text = u"Job [%1] is complete: %2 sent, %3 failed for good."_s.arg(
                row[JobCell::Name], shown(account.sent), shown(account.failed));
        if (account.inDoubt > 0)
            text += u"\r\n%1 in doubt, who may have got it (%2%3). \"Resend Fail\" asks whether to "
                    "send it again."_s.arg(shown(account.inDoubt), doubtful,
                                           account.inDoubt > 1 ? u", ..."_s : QString());
        m_seams.op.tell(text, account.failed + account.inDoubt > 0 ? u"Job Manager"_s : QString());
        return false;
    }
    const bool isFirst = m_plan.rerun == 0;
    m_plan = {RunKind::Rerun, m_plan.rerun + 1, 0, false};
    if (isFirst)
        return true;
    if (!m_seams.op.ask(u"There are %1 fail emails.\r\n"
                        "Do you want to resend fail emails ?"_s.arg(temporary),
                        u"Resend fail emails "_s))
        return false;
    m_plan.withDoubts = areDoubtsWanted(account.inDoubt);
    return true;
}
