#include "sendrun.h"

#include "interruptedrun.h"
#include "jobstore.h"
#include "mergefields.h"
#include "outcomewriter.h"
#include "runview.h"
#include "sendlog.h"

#include "clock.h"
#include "connection.h"
#include "keyset.h"
#include "operator.h"
#include "programfolder.h"
#include "sendmail.h"
#include "settings.h"
#include "unsubscribelist.h"
#include "yield.h"

#include <QScopeGuard>

#include <algorithm>
#include <optional>

namespace
{

/// What of a failure's explanation is stored with the recipient.
constexpr qsizetype maxReason = 124;

QString onOneLine(QString text)
{
    return text.replace(QLatin1Char('\r'), QLatin1Char(' '))
        .replace(QLatin1Char('\n'), QLatin1Char(' '));
}

void openLog(SendLog &log, const JobRow &row, bool failedOnly)
{
    log.open();
    log.write({});
    if (failedOnly)
        log.write(QStringLiteral("Resend Fail Email"));
    log.write(QStringLiteral("Job : ") + row[JobCell::Name]);
    log.write(QStringLiteral("Email Subject : ") + row[JobCell::Subject]);
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
        m_reason = onOneLine(QString(explanation).remove(QLatin1Char('"')).left(maxReason));
    });
}

SendRun::Result SendRun::start(const JobRow &row, const JobMessage &message, bool failedOnly)
{
    m_running = true;
    m_succeeded = m_failed = 0;
    m_view.showWaiting(true);
    const auto finish = qScopeGuard([this] {
        m_view.showWaiting(false);
        m_running = false;
    });
    std::optional<ListLock> lock;
    try {
        lock.emplace(m_folder, row.number(JobCell::MaillistId));
    } catch (const StorageError &e) {
        m_operator.tell(e.description());
        return Result::ListInUse;
    }
    JobRow working;
    try {
        working = storedRow(row);
    } catch (const StorageError &e) {
        m_operator.tell(e.report(), QStringLiteral("Error"));
        return Result::StorageFailed;
    }
    return runPasses(working, message, failedOnly);
}

JobRow SendRun::storedRow(const JobRow &row) const
{
    Connection system(m_folder.systemConnectionString());
    const std::vector<JobRow> jobs =
        loadJobs(system, QStringLiteral(" where mjob.jobid = %1 ").arg(row[JobCell::Id]));
    if (jobs.empty())
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("Job [%1] exists no more.").arg(row[JobCell::Name]));
    return jobs.front();
}

SendRun::Result SendRun::runPasses(JobRow &row, const JobMessage &message, bool failedOnly)
{
    for (int pass = 0;; ++pass) {
        const Result result = runPass(row, message, failedOnly, pass);
        if (result != Result::Complete || !isRerunWanted(row, pass))
            return result;
        failedOnly = true;
    }
}

bool SendRun::isRerunWanted(const JobRow &row, int pass)
{
    if (m_ending)
        return false;
    if (m_failed == 0) {
        m_operator.tell(QStringLiteral("Job [%1] completed successfully.").arg(row[JobCell::Name]));
        return false;
    }
    if (pass == 0)
        return true;
    return m_operator.ask(QStringLiteral("There are %1 fail emails.\r\n"
                                         "Do you want to resend fail emails ?")
                              .arg(m_failed),
                          QStringLiteral("Resend fail emails "));
}

SendRun::Result SendRun::runPass(JobRow &row, const JobMessage &message, bool failedOnly, int pass)
{
    const Settings settings = m_settings.current();
    if (settings.smtpServer.isEmpty()) {
        m_operator.tell(
            QStringLiteral("Please enter a SMTP server in the Options Window and send again !"));
        m_view.openOptions();
        return Result::NoServer;
    }
    if (const QString path = message.missingAttachment(); !path.isEmpty()) {
        m_operator.tell(QStringLiteral("Attachment not found : %1 !").arg(path));
        return Result::MissingAttachment;
    }

    m_view.setRunning(true);
    m_stopRequested = m_ending;
    m_succeeded = m_failed = 0;
    const JobRow before = row;
    m_view.highlightRow(row, false);
    try {
        send(row, message, settings, failedOnly, pass);
        const JobRow ended = finished(row, failedOnly);
        storeJobRow(m_folder, ended);
        clearMarker(ended);
        row = ended;
    } catch (const StorageError &e) {
        stopOnError(row, before, e);
        return Result::StorageFailed;
    }
    showEnd(row);
    m_view.highlightRow(row, true);
    return row[JobCell::Progress] == QLatin1String("Paused") ? Result::Paused : Result::Complete;
}

void SendRun::send(JobRow &row, const JobMessage &message, const Settings &settings,
                   bool failedOnly, int pass)
{
    const qint64 jobId = row.number(JobCell::Id);
    const QString listDatabase = m_folder.listConnectionString(row.number(JobCell::MaillistId));
    Connection list(listDatabase);
    adoptInterrupted(list, row);

    row[JobCell::Progress] = QStringLiteral("Sending");
    row[JobCell::Start] = jobTimeStamp(m_clock.now());
    const QString failures = QStringLiteral(" where status='F' ");
    const qint64 total = list.number(QStringLiteral("select count(*) from email ") +
                                     (failedOnly ? failures : QString()));
    row.setNumber(JobCell::Total, total);
    m_view.showRow(row);
    Keyset recipients(listDatabase, QStringLiteral("*"),
                      failedOnly ? failures
                                 : QStringLiteral(" where mid > ") + row[JobCell::LastSentId]);
    if (!failedOnly)
        RunMarker::begin(list, jobId, row[JobCell::Start], row.number(JobCell::LastSentId));

    OutcomeWriter outcomes(list, failedOnly ? 0 : jobId);

    m_view.showProgress(0);
    const UnsubscribeList unsubscribed(settings.unsubscribed);
    const MergeFields fields(message.body);
    m_view.showPanel(RunView::Current,
                     (pass == 0 ? QStringLiteral("Connecting to ")
                                : QStringLiteral("Resend fail emails, connecting to ")) +
                         settings.smtpServer + QStringLiteral(" ... "));
    connectTransport(message, settings);
    const auto disconnect = qScopeGuard([this] { m_mail.Disconnect(); });
    SendLog log(m_folder, m_clock);
    if (settings.logOutgoing)
        openLog(log, row, failedOnly);

    for (qsizetype i = 0; i < recipients.size(); ++i) {
        const Record *recipient = recipients.row(i);
        if (!recipient)
            continue; // deleted since the run began
        const qint64 mid = recipients.key(i);
        const QString address = recipient->text(QStringLiteral("email"));
        m_view.showPanel(RunView::Current,
                         (pass == 0 ? QStringLiteral(" Send to ") : QStringLiteral(" Resend to ")) +
                             address);
        m_view.showWaiting(true);
        m_reason.clear();
        const bool success = sendToOne(*recipient, fields, unsubscribed, message.subject);
        ++(success ? m_succeeded : m_failed);
        // Who was mailed is not mailed again, even when the next line cannot record it.
        if (!failedOnly && success)
            row.setNumber(JobCell::LastSentId, mid);
        const QString status = success ? QStringLiteral("S") : QStringLiteral("F");
        outcomes.write(mid, status, m_reason);
        if (!failedOnly)
            row.setNumber(JobCell::LastSentId, mid);
        log.write(address + QLatin1Char('\t') + status + QLatin1Char('\t') + m_reason);
        m_view.showWaiting(false);
        m_view.showProgress(float(std::min(100.0, 100.0 * sent() / double(total))));
        showOutcome(row, success);
        if (m_stopRequested)
            break;
        if (sent() % m_pace.batchSize == 0)
            reconnect();
    }
}

/// Goes on where a run ended that never got stored; forgets one that was.
void SendRun::adoptInterrupted(Connection &list, JobRow &row)
{
    const qint64 jobId = row.number(JobCell::Id);
    if (const auto left = RunMarker::ofInterrupted(list, jobId, row[JobCell::Start]))
        row.setNumber(JobCell::LastSentId, left->lastMid);
    else
        RunMarker::clear(list, jobId);
}

/// The stored job knows all that the marker did. One that stays is known by its start to be of this
/// run.
void SendRun::clearMarker(const JobRow &row)
{
    try {
        Connection list(m_folder.listConnectionString(row.number(JobCell::MaillistId)));
        RunMarker::clear(list, row.number(JobCell::Id));
    } catch (const StorageError &) {
        // The next run of the job clears it.
    }
}

JobRow SendRun::finished(const JobRow &row, bool failedOnly)
{
    JobRow ended = row;
    Connection list(m_folder.listConnectionString(row.number(JobCell::MaillistId)));
    recountRecipients(list, ended);
    ended[JobCell::End] = jobTimeStamp(m_clock.now());
    const bool complete = sent() >= row.number(JobCell::Total) || !m_stopRequested;
    if (complete && !failedOnly)
        ended.setNumber(JobCell::LastSentId, 0);
    ended[JobCell::Progress] = complete ? QStringLiteral("Complete") : QStringLiteral("Paused");
    return ended;
}

void SendRun::showEnd(const JobRow &row)
{
    m_view.showProgress(0);
    m_view.showPanel(RunView::Current, {});
    m_view.showPanel(RunView::LastStatus, {});
    m_view.showRow(row);
    m_view.setRunning(false);
}

void SendRun::connectTransport(const JobMessage &message, const Settings &settings)
{
    m_mail.Host = settings.smtpServer;
    m_mail.SenderAddress = message.senderAddress;
    m_mail.SenderName = message.senderName;
    m_mail.HtmlBody = message.format == QLatin1String("HTML");
    m_mail.AddressCheck = settings.validateAddresses ? 1 : 0;
    m_mail.Attachments = message.attachmentPaths().join(QLatin1Char(';'));
    m_mail.Authenticate = settings.requireLogon;
    if (settings.requireLogon) {
        m_mail.UserName = settings.account;
        m_mail.Password = settings.password;
    }
    m_mail.Connect(); // where it fails, each send fails with the reason
}

void SendRun::reconnect()
{
    m_mail.Disconnect();
    m_yield.yield();
    m_clock.wait(m_pace.batchPause, m_yield);
    m_mail.Connect();
}

bool SendRun::sendToOne(const Record &recipient, const MergeFields &fields,
                        const UnsubscribeList &unsubscribed, const QString &subject)
{
    try {
        const QString address = recipient.text(QStringLiteral("email"));
        const QString body = fields.personalise(recipient, m_clock.now().date());
        if (unsubscribed.contains(address)) {
            m_reason = QStringLiteral("Un-subscribed Email");
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
        m_reason = onOneLine(QString::fromUtf8(e.what()));
        return false;
    }
}

void SendRun::showOutcome(const JobRow &row, bool success)
{
    m_view.showPanel(RunView::LastStatus, success ? QStringLiteral("Last Status : Success")
                                                  : QStringLiteral("Last Status : Failed"));
    m_view.showPanel(RunView::Sent, QStringLiteral("Sent:%1").arg(sent()));
    m_view.showPanel(RunView::Success, QStringLiteral("Success:%1").arg(m_succeeded));
    m_view.showPanel(RunView::Failed, QStringLiteral("Failed:%1").arg(m_failed));
    m_view.showRow(row);
}

void SendRun::stopOnError(JobRow &row, const JobRow &before, const StorageError &error)
{
    const JobRow reached = row;
    row = before;
    if (sent() > 0) {
        row[JobCell::Progress] = QStringLiteral("Paused");
        row[JobCell::Start] = reached[JobCell::Start];
        row[JobCell::End] = jobTimeStamp(m_clock.now());
        row[JobCell::LastSentId] = reached[JobCell::LastSentId];
        try {
            storeJobRow(m_folder, row);
            clearMarker(row);
        } catch (const StorageError &) {
            // The system database is the one that failed, or fails too; the next start of the job
            // finds in the list database how far this one came.
        }
    }
    showEnd(row);
    m_view.highlightRow(row, false);
    m_operator.tell(error.report(), QStringLiteral("Error"));
}
