#include "sendrun.h"

#include "interruptedrun.h"
#include "jobstore.h"
#include "mergefields.h"
#include "sendlog.h"

#include "clock.h"
#include "connection.h"
#include "keyset.h"
#include "mailhost.h"
#include "operator.h"
#include "programfolder.h"
#include "recipientrecords.h"
#include "sendmail.h"
#include "settings.h"
#include "unsubscribelist.h"
#include "yield.h"

#include <QScopeGuard>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// What of a failure's explanation is stored with the recipient.
constexpr qsizetype maxReason = 124;

/// How long an outcome is tried to be written, how long each try waits for another program, and
/// how long the window lives between two of them.
constexpr std::chrono::milliseconds patience = 30s;
constexpr std::chrono::milliseconds shortWait = 50ms;
constexpr std::chrono::milliseconds longWait = 250ms;

QString onOneLine(QString text)
{
    return text.replace(u'\r', u' ').replace(u'\n', u' ');
}

void openLog(SendLog &log, const JobRow &row, bool failedOnly)
{
    log.open();
    log.write({});
    if (failedOnly)
        log.write(u"Resend Fail Email"_s);
    log.write(u"Job : "_s + row[JobCell::Name]);
    log.write(u"Email Subject : "_s + row[JobCell::Subject]);
}

} // namespace

SendRun::SendRun(const ProgramFolder &folder, SendMail &mail, const LiveSettings &settings,
                 Operator &op, RunView &view, Clock &clock, Yield &yield, RunPace pace)
    : m_folder(folder)
    , m_mail(mail)
    , m_settings(settings)
    , m_operator(op)
    , m_view(view)
    , m_clock(clock)
    , m_yield(yield)
    , m_pace(pace)
{
    connect(&m_mail, &SendMail::SendFailed, this, [this](const QString &explanation) {
        m_sendFailed = true;
        m_progress.reason = onOneLine(QString(explanation).remove(u'"').left(maxReason));
    });
    m_showTimer.setSingleShot(true);
    connect(&m_showTimer, &QTimer::timeout, this, [this] {
        if (!m_isShown)
            show();
    });
}

SendRun::Result SendRun::start(const JobRow &row, const JobMessage &message, bool failedOnly)
{
    m_running = true;
    m_progress = {};
    m_progress.row = row;
    m_progress.failedOnly = failedOnly;
    const auto finish = qScopeGuard([this] { m_running = false; });
    std::optional<ListLock> lock;
    try {
        lock.emplace(m_folder, row.number(JobCell::MaillistId));
    } catch (const StorageError &e) {
        m_operator.tell(e.description());
        return Result::ListInUse;
    }
    try {
        Connection system(m_folder.systemConnectionString());
        m_progress.row = loadJob(system, row.number(JobCell::Id));
        system.close();
        adoptRun(m_folder, m_progress.row);
        if (!isAsShown(row, m_progress.row))
            return Result::Declined;
    } catch (const StorageError &e) {
        m_operator.tell(e.report(), u"Error"_s);
        return Result::StorageFailed;
    }
    for (;; ++m_progress.rerun) {
        const Result result = runPass(message);
        if (result != Result::Complete || !isRerunWanted())
            return result;
        m_progress.failedOnly = true;
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
    const bool isRepeat = !m_progress.failedOnly && repeatOf(m_folder, stored);
    const QString text = u"Job [%1] has changed since it was shown here. Now it "
                         "is %2: of %3 recipients %4 have had the email, and %5 failed.%6"_s;
    const QStringList buttons = {u"Start"_s, u"Cancel"_s};
    return m_operator.choose(
               text.arg(stored[JobCell::Name],
                        stored[JobCell::Progress].isEmpty()
                            ? u"not started"_s
                            : u"\"%1\""_s.arg(stored[JobCell::Progress]),
                        stored[JobCell::Total], stored[JobCell::Success], stored[JobCell::Failed],
                        isRepeat ? u" \"Start\" sends it to everybody again."_s : QString()),
               u"Job Manager"_s, buttons, 1) == 0;
}

bool SendRun::isRerunWanted()
{
    if (m_ending)
        return false;
    if (m_progress.pass.failed == 0) {
        m_operator.tell(u"Job [%1] completed successfully."_s.arg(m_progress.row[JobCell::Name]));
        return false;
    }
    if (m_progress.rerun == 0)
        return true;
    return m_operator.ask(u"There are %1 fail emails.\r\n"
                          "Do you want to resend fail emails ?"_s.arg(m_progress.pass.failed),
                          u"Resend fail emails "_s);
}

SendRun::Result SendRun::runPass(const JobMessage &message)
{
    const Settings settings = m_settings.current();
    if (settings.smtpServer.isEmpty()) {
        m_operator.tell(u"Please enter a SMTP server in the Options Window and send again !"_s);
        m_view.openOptions();
        return Result::NoServer;
    }
    if (const QString path = message.missingAttachment(); !path.isEmpty()) {
        m_operator.tell(u"Attachment not found : %1 !"_s.arg(path));
        return Result::MissingAttachment;
    }

    UnsubscribeList unsubscribed(settings.unsubscribed);
    try {
        unsubscribed.add(loadUnsubscribeList(m_folder));
    } catch (const StorageError &e) {
        m_operator.tell(e.description());
        return Result::NoUnsubscribeList;
    }

    JobRow &row = m_progress.row;
    m_stopRequested = m_ending;
    m_unrecorded.clear();
    m_progress.pass = {};
    m_progress.last = RunProgress::Outcome::None;
    m_progress.reason.clear();
    m_view.beginPass(row);
    const JobRow before = row;
    try {
        send(message, settings, unsubscribed);
        finish();
    } catch (const StorageError &e) {
        stopOnError(before, e);
        return Result::StorageFailed;
    }
    endPass(true);
    return row[JobCell::Progress] == "Paused"_L1 ? Result::Paused : Result::Complete;
}

void SendRun::send(const JobMessage &message, const Settings &settings,
                   const UnsubscribeList &unsubscribed)
{
    JobRow &row = m_progress.row;
    const bool failedOnly = m_progress.failedOnly;
    const QString listDatabase = m_folder.listConnectionString(row.number(JobCell::MaillistId));
    Connection list(listDatabase);

    row[JobCell::Progress] = u"Sending"_s;
    row[JobCell::Start] = jobTimeStamp(m_clock.now());
    const QString failures = u" where status='F' "_s;
    m_progress.selected = countRecipients(list, failedOnly ? failures : QString());
    row.setNumber(JobCell::Total, m_progress.selected);
    Keyset recipients(listDatabase, u"*"_s,
                      failedOnly ? failures : u" where mid > "_s + row[JobCell::LastSentId]);
    m_progress.toHandle = recipients.size();
    if (m_progress.rerun > 0)
        m_progress.whole.failed = m_progress.toHandle;
    RunMarker::begin(list, row.number(JobCell::Id), row[JobCell::Start],
                     row.number(JobCell::LastSentId));
    OutcomeWriter outcomes(m_folder, list, row, !failedOnly);
    // From here record() waits, and the window lives.
    list.execute(u"pragma busy_timeout=%1"_s.arg(shortWait.count()));

    const MergeFields fields(message.body);
    connectTransport(message, settings);
    const auto disconnect = qScopeGuard([this] { m_mail.Disconnect(); });
    SendLog log(m_folder, m_clock);
    if (settings.logOutgoing)
        openLog(log, row, failedOnly);

    m_elapsed.start();
    for (qsizetype i = 0; i < recipients.size(); ++i) {
        const Record *recipient = recipients.row(i);
        if (!recipient)
            continue; // deleted since the run began
        m_progress.address = recipient->text(u"email"_s);
        m_progress.reason.clear();
        show(RunProgress::Phase::Sending);
        const bool success = sendToOne(*recipient, fields, unsubscribed, message.subject);
        count(success);
        const auto writeLog = qScopeGuard([&] {
            const QString status = QLatin1String(success ? "S" : "F");
            log.write(m_progress.address + u'\t' + status + u'\t' + m_progress.reason);
            if (!m_unrecorded.isEmpty())
                log.write(m_unrecorded);
        });
        record(outcomes, recipients.key(i), success);
        if (!success)
            m_view.noteFailure(m_progress.address, m_progress.reason);
        show();
        if (m_stopRequested)
            break;
        if (m_progress.pass.sent() % m_pace.batchSize == 0)
            reconnect();
    }
}

/// The message has gone: what became of it is written for as long as a person would wait.
void SendRun::record(OutcomeWriter &outcomes, qint64 mid, bool success)
{
    const QString status = QLatin1String(success ? "S" : "F");
    for (auto waited = 0ms;; waited += longWait + shortWait) {
        try {
            outcomes.write(mid, status, m_progress.reason);
            break;
        } catch (const StorageError &) {
            const bool isKept = outcomes.keep(mid, status, m_progress.reason);
            if (waited >= patience) {
                m_unrecorded =
                    u"That %1 %2 could not be recorded in the maillist. It is recorded when the "
                    "job is started again."_s;
                if (!isKept)
                    m_unrecorded = u"That %1 %2 could not be recorded anywhere. The job begins "
                                   "with this recipient when it is started again."_s;
                m_unrecorded = m_unrecorded.arg(m_progress.address,
                                                success ? u"got the email"_s : u"failed"_s);
                throw;
            }
        }
        show(RunProgress::Phase::WaitingForList);
        m_clock.wait(longWait, m_yield);
    }
    m_progress.phase = RunProgress::Phase::Sending;
    if (!m_progress.failedOnly)
        m_progress.row.setNumber(JobCell::LastSentId, mid);
}

/// Stores how the run ended. The list says it first, so that whatever cuts this off, the job gets
/// it in the end.
void SendRun::finish()
{
    JobRow ended = m_progress.row;
    Connection list(m_folder.listConnectionString(ended.number(JobCell::MaillistId)));
    recountRecipients(list, ended);
    ended[JobCell::End] = jobTimeStamp(m_clock.now());
    const bool complete = m_progress.pass.sent() >= m_progress.selected || !m_stopRequested;
    if (complete && !m_progress.failedOnly)
        ended.setNumber(JobCell::LastSentId, 0);
    ended[JobCell::Progress] = complete ? u"Complete"_s : u"Paused"_s;
    RunMarker::end(list, ended);
    m_progress.row = ended;
    storeJobRow(m_folder, ended);
    try {
        RunMarker::clear(list, ended.number(JobCell::Id));
    } catch (const StorageError &) {
        // It says what the job is, until the next run clears it.
    }
}

void SendRun::endPass(bool isStored)
{
    m_showTimer.stop();
    show(RunProgress::Phase::Ended);
    m_view.endPass(m_progress.row, isStored);
}

void SendRun::connectTransport(const JobMessage &message, const Settings &settings)
{
    m_progress.server = shownMailHost(settings.smtpServer);
    m_elapsed.start();
    show(RunProgress::Phase::Connecting);
    m_mail.Host = settings.smtpServer;
    m_mail.SenderAddress = message.senderAddress;
    m_mail.SenderName = message.senderName;
    m_mail.HtmlBody = message.format == "HTML"_L1;
    m_mail.AddressCheck = settings.validateAddresses ? 1 : 0;
    m_mail.Attachments = message.attachmentPaths().join(u';');
    m_mail.Authenticate = settings.requireLogon;
    if (settings.requireLogon) {
        m_mail.UserName = settings.account;
        m_mail.Password = settings.password;
    }
    m_mail.Connect(); // where it fails, each send fails with the reason
}

void SendRun::reconnect()
{
    show(RunProgress::Phase::Waiting);
    m_mail.Disconnect();
    m_yield.yield();
    m_clock.wait(m_pace.batchPause, m_yield);
    m_mail.Connect();
}

bool SendRun::sendToOne(const Record &recipient, const MergeFields &fields,
                        const UnsubscribeList &unsubscribed, const QString &subject)
{
    try {
        const QString address = recipient.text(u"email"_s);
        const QString body = fields.personalise(recipient, m_clock.now().date());
        if (unsubscribed.contains(address)) {
            m_progress.reason = u"Un-subscribed Email"_s;
            m_yield.yield();
            return false;
        }
        m_sendFailed = false;
        m_mail.Recipient = address;
        m_mail.Subject = subject;
        m_mail.Body = body;
        m_mail.Send();
        m_yield.yield();
        return !m_sendFailed;
    } catch (const std::exception &e) {
        m_progress.reason = onOneLine(QString::fromUtf8(e.what()));
        return false;
    }
}

void SendRun::count(bool success)
{
    using Outcome = RunProgress::Outcome;
    m_progress.last = success ? Outcome::Success : Outcome::Failed;
    ++(success ? m_progress.pass.succeeded : m_progress.pass.failed);
    const bool isKnownFailure = m_progress.rerun > 0;
    if (success)
        ++m_progress.whole.succeeded;
    if (success == isKnownFailure)
        m_progress.whole.failed += success ? -1 : 1;
}

void SendRun::show(RunProgress::Phase phase)
{
    m_progress.phase = phase;
    show();
}

void SendRun::show()
{
    m_isShown = !m_showTimer.isActive();
    if (!m_isShown)
        return;
    m_progress.elapsed = std::chrono::milliseconds(m_elapsed.elapsed());
    m_view.showProgress(m_progress);
    if (m_pace.show.count() > 0)
        m_showTimer.start(m_pace.show);
}

void SendRun::stopOnError(const JobRow &before, const StorageError &error)
{
    JobRow &row = m_progress.row;
    const bool isEnded = row[JobCell::Progress] != "Sending"_L1; // and was not stored
    if (!isEnded && m_progress.pass.sent() == 0) {
        row = before;
    } else if (!isEnded) {
        row[JobCell::Progress] = u"Paused"_s;
        row[JobCell::Total] = before[JobCell::Total];
        row[JobCell::End] = jobTimeStamp(m_clock.now());
        try {
            Connection list(m_folder.listConnectionString(row.number(JobCell::MaillistId)));
            recountRecipients(list, row);
            storeJobRow(m_folder, row);
        } catch (const StorageError &) {
            // The next start of the job finds the rest in the list.
        }
    }
    endPass(false);
    QString text = error.report();
    if (!m_unrecorded.isEmpty())
        text += u"\r\n"_s + m_unrecorded;
    m_operator.tell(text, u"Error"_s);
}
