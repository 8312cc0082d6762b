#include "sendpass.h"

#include "addresscheck.h"
#include "clock.h"
#include "connection.h"
#include "mailhost.h"
#include "messagestore.h"
#include "operator.h"
#include "programfolder.h"
#include "sendmail.h"
#include "unsubscribelist.h"
#include "yield.h"

#include <QLocale>
#include <QMessageAuthenticationCode>
#include <QScopeGuard>

#include <algorithm>

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

/// Between two looks at whether the wait goes on.
constexpr std::chrono::milliseconds waitSlice = 100ms;

constexpr std::chrono::milliseconds longestIdle = 10s;

/// Before a session is tried again; the last one over and over.
constexpr std::array<std::chrono::seconds, 4> serverWaits = {2s, 10s, 30s, 60s};

/// The reason of who is in doubt, while nobody knows better.
const QString interrupted =
    inDoubtPrefix + u"the program was interrupted while the message was on its way"_s;

QString onOneLine(QString text)
{
    return text.replace(u'\r', u' ').replace(u'\n', u' ');
}

bool isLoginRefused(const SendResult &result)
{
    // At RCPT it is asked for just as well.
    return result.isLoginRefused || result.code == 530;
}

} // namespace

RunDisplay::RunDisplay(RunView &view, std::chrono::milliseconds interval)
    : m_view(view)
    , m_interval(interval)
{
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] {
        if (!m_isShown)
            show();
    });
}

void RunDisplay::show(RunProgress::Phase phase)
{
    progress.phase = phase;
    if (phase == RunProgress::Phase::Ended)
        m_timer.stop();
    show();
}

void RunDisplay::show()
{
    m_isShown = !m_timer.isActive();
    if (!m_isShown)
        return;
    progress.elapsed = std::chrono::milliseconds(m_elapsed.isValid() ? m_elapsed.elapsed() : 0);
    progress.expectedEnd = expectedEnd ? expectedEnd() : QDateTime();
    m_view.showProgress(progress);
    if (m_interval.count() > 0)
        m_timer.start(m_interval);
}

SendPass::SendPass(const RunSeams &seams, Connection &list, const BegunPass &pass,
                   const JobMessage &message, const Settings &settings,
                   const UnsubscribeList &unsubscribed)
    : m_seams(seams)
    , m_mail(seams.mail)
    , m_progress(seams.display.progress)
    , m_control(seams.control)
    , m_pass(pass)
    , m_message(message)
    , m_settings(settings)
    , m_unsubscribed(unsubscribed)
    , m_queue(seams.folder.listConnectionString(m_progress.row.number(JobCell::MaillistId)), list,
              pass.condition)
    , m_outcomes(list, pass.run.number)
    , m_fields(message.body)
    , m_key(pass.series.id.toLatin1())
    , m_digest(pass.digest)
    , m_messageDomain(wireAddress(message.senderAddress).split('@').last())
    , m_allowance(settings.smtpServer, settings.requireLogon ? settings.account : QString(),
                  settings.limits, seams.clock)
    , m_log(seams.folder, seams.clock)
    , m_yielding(seams.yield)
    , m_isAnyListWanted(seams.options.anyList)
{
    m_progress.toHandle = m_queue.size();
    // Who cannot be recorded at once is tried again by commit(), while the window lives.
    list.execute(u"pragma busy_timeout=%1"_s.arg(shortWait.count()));
    m_mail.MessageDue = [this] { return isMessageAllowed(); };
    m_seams.display.expectedEnd = [this] { return end(); };
}

SendPass::~SendPass()
{
    m_mail.MessageDue = nullptr;
    m_seams.display.expectedEnd = nullptr;
}

/// When the pass will be over.
QDateTime SendPass::end()
{
    const qint64 left = m_progress.toHandle - m_progress.pass.sent();
    QDateTime freeAt;
    try {
        if (m_settings.limits != SendLimits())
            freeAt = m_allowance.freeAt(left);
    } catch (const StorageError &) {
        return {}; // it is told before the next message leaves
    }
    return ::expectedEnd(m_seams.clock.now(), m_progress.pass.sent(),
                         m_progress.elapsed - m_waitedInAll, left, m_seams.options.batchSize,
                         m_seams.options.batchPause, freeAt);
}

void SendPass::run()
{
    try {
        sendAll();
    } catch (const StorageError &) {
        // Of a message that is on its way nobody knows; of one that is not, everybody shall.
        if (!m_isOnItsWay) {
            try {
                m_outcomes.clearDoubt();
            } catch (const StorageError &) {
                // Then they count as in doubt, which harms nobody.
            }
        }
        throw;
    }
}

void SendPass::sendAll()
{
    m_seams.display.start();
    if (m_pass.run.kind == RunKind::Rerun && m_pass.run.pass == m_pass.run.number)
        wait(RunProgress::Phase::WaitingToRerun, rerunWait());
    connectTransport();
    const auto disconnect = qScopeGuard([this] { m_mail.Disconnect(); });
    openLog();
    Ahead ahead;
    while (!m_isOver && !m_control.isStopRequested && (ahead.next || !m_queue.atEnd())) {
        if (ahead.next) {
            const Turn turn = *std::exchange(ahead.next, {});
            ahead = lookAhead(room() - 1);
            sendTo(turn, ahead);
        } else {
            ahead = lookAhead(room());
            commit(ahead.passed, nullptr,
                   ahead.passed.empty() ? QString() : ahead.passed.front().address);
            note(std::exchange(ahead.passed, {}), false);
        }
        const bool isBatchFull = m_progress.pass.sent() > 0 && room() == m_seams.options.batchSize;
        if (isBatchFull && !ahead.next && !m_queue.atEnd() && !m_isOver)
            reconnect();
    }
    withdrawDoubt();
}

/// Whoever is named as next is not on the way yet, and will not be for a while.
void SendPass::withdrawDoubt()
{
    retry([this] { m_outcomes.clearDoubt(); }, m_progress.address);
    m_isOnItsWay = false;
}

void SendPass::openLog()
{
    if (!m_settings.logOutgoing)
        return;
    m_log.open();
    m_log.write({});
    if (m_progress.failedOnly)
        m_log.write(u"Resend Fail Email"_s);
    m_log.write(u"Job : "_s + m_progress.row[JobCell::Name]);
    m_log.write(u"Email Subject : "_s + m_message.subject);
}

void SendPass::connectTransport()
{
    m_progress.server = shownMailHost(m_settings.smtpServer);
    m_seams.display.show(RunProgress::Phase::Connecting);
    m_mail.Host = m_settings.smtpServer;
    m_mail.SenderAddress = m_message.senderAddress;
    m_mail.SenderName = m_message.senderName;
    m_mail.HtmlBody = m_message.format == "HTML"_L1;
    m_mail.AddressCheck = m_settings.validateAddresses ? 1 : 0;
    m_mail.Attachments = m_message.attachmentPaths().join(u';');
    m_mail.Authenticate = m_settings.requireLogon;
    if (m_settings.requireLogon) {
        m_mail.UserName = m_settings.account;
        m_mail.Password = m_settings.password;
    }
    m_mail.Subject = m_message.subject;
    connect();
}

/// A login that is refused now is not tried again by the next Send.
void SendPass::connect()
{
    if (!m_control.isStopRequested && !m_mail.Connect() && m_mail.Result.isLoginRefused) {
        m_trouble = onOneLine(m_mail.Result.explanation);
        m_isOver = true;
    }
}

void SendPass::reconnect()
{
    m_mail.Disconnect();
    m_seams.display.show(RunProgress::Phase::Waiting);
    m_seams.clock.wait(m_seams.options.batchPause, m_seams.yield);
    m_waitedInAll += m_seams.options.batchPause;
    connect();
}

/// How many may still be handled in the session's batch.
qint64 SendPass::room() const
{
    return m_seams.options.batchSize - m_progress.pass.sent() % m_seams.options.batchSize;
}

/// Finds the next recipient to be sent to. Those who are not, up to `room` of them, are passed over
/// on the way.
SendPass::Ahead SendPass::lookAhead(qint64 room)
{
    Ahead ahead;
    Turn turn;
    while (qint64(ahead.passed.size()) < room && m_queue.next(turn)) {
        if (!m_unsubscribed.contains(turn.address())) {
            ahead.next = turn;
            ahead.next->messageId = messageIdOf(turn.mid);
            break;
        }
        ahead.passed.push_back(entryOf(turn, Fate::Failed, u"Un-subscribed Email"_s));
    }
    return ahead;
}

/// Sends to one, and commits what became of them together with whom `ahead` has passed over and the
/// name of who is in doubt next.
void SendPass::sendTo(const Turn &turn, Ahead &ahead)
{
    LedgerEntry entry;
    switch (deliver(turn, ahead.next, entry)) {
    case Delivery::Stopped:
        m_isOver = true;
        return;
    case Delivery::Again:
        putBack(ahead, std::exchange(m_givenBack, {}));
        return;
    case Delivery::Done:
        break;
    }
    const bool isBad = m_watch.isBadList(m_mail.Result) && !m_isAnyListWanted;
    const bool goesOn = !m_control.isStopRequested && !isBad;
    std::vector<LedgerEntry> entries{entry};
    if (goesOn)
        std::move(ahead.passed.begin(), ahead.passed.end(), std::back_inserter(entries));
    std::optional<LedgerEntry> next;
    if (goesOn && ahead.next && m_mail.IsNextDue && qint64(entries.size()) < room())
        next = entryOf(*ahead.next, Fate::InDoubt, interrupted);
    commit(entries, next ? &*next : nullptr, turn.address());
    m_isOnItsWay = false;
    note(entries, turn.row.remark.startsWith(inDoubtPrefix));
    // Not before it is recorded what became of the message.
    m_allowance.spend();
    if (goesOn)
        ahead.passed.clear();
    if (!isBad || m_control.isStopRequested)
        return;
    m_mail.Disconnect();
    m_isOver = !isBadListWanted();
    putBack(ahead, {});
}

/// These come again, and whoever was looked at too early after them.
void SendPass::putBack(Ahead &ahead, std::vector<qint64> mids)
{
    for (const LedgerEntry &entry : ahead.passed)
        mids.push_back(entry.mid);
    if (ahead.next)
        mids.push_back(ahead.next->mid);
    m_queue.again(mids);
    ahead = {};
}

SendPass::Delivery SendPass::deliver(const Turn &turn, const std::optional<Turn> &next,
                                     LedgerEntry &entry)
{
    using Kind = SendResult::Kind;
    m_turn = &turn;
    for (bool wasLost = false;; wasLost = wasLost || m_mail.Result.kind == Kind::SessionLost) {
        waitUntilAllowed();
        if (m_control.isStopRequested)
            return Delivery::Stopped;
        m_progress.address = turn.address();
        m_progress.reason.clear();
        m_seams.display.show(RunProgress::Phase::Sending);
        entry = entryOf(turn, Fate::Sent, {});
        if (!send(turn, next && m_allowance.has(2) ? &*next : nullptr, entry))
            return Delivery::Done;
        const SendResult &result = m_mail.Result;
        const bool isForEverybody =
            m_watch.isForEverybody(result, {turn.mid, turn.row.status, turn.row.remark});
        const bool isUntouched = result.kind == Kind::NoSession ||
                                 result.kind == Kind::SessionLost || result.kind == Kind::NotWanted;
        if (!isForEverybody && !isUntouched) {
            judge(entry);
            return Delivery::Done;
        }
        withdrawDoubt();
        if (result.kind == Kind::NotWanted)
            return Delivery::Stopped;
        if (result.kind == Kind::SessionLost && wasLost) {
            judge(entry);
            return Delivery::Done;
        }
        if (isForEverybody)
            giveBack(turn);
        if (!waitForServer())
            return Delivery::Stopped;
        if (isForEverybody)
            return Delivery::Again;
    }
}

/// Gives the message to the mail component, whose result says what became of it. False where that
/// was an error of another kind, which the entry tells.
bool SendPass::send(const Turn &turn, const Turn *next, LedgerEntry &entry)
{
    try {
        const QDate today = m_seams.clock.now().date();
        if (today != m_today) {
            m_today = today;
            m_values[0] = QLocale::system().toString(today, QLocale::ShortFormat);
        }
        std::copy(turn.row.fields.begin(), turn.row.fields.end(), m_values.begin() + 1);
        m_mail.Recipient = turn.address();
        m_mail.Next = next ? next->address() : QString();
        m_mail.Body = m_fields.personalise(m_values);
        m_mail.MessageId = entry.messageId.section(u'@', 0, 0).toLatin1();
        m_mail.Send();
        m_yielding.step();
    } catch (const std::exception &e) {
        entry.fate = m_isOnItsWay ? Fate::InDoubt : Fate::Temporary;
        entry.reason = onOneLine(QString::fromUtf8(e.what()));
        if (entry.fate == Fate::InDoubt)
            entry.reason.prepend(inDoubtPrefix);
        return false;
    }
    if (m_error)
        std::rethrow_exception(std::exchange(m_error, nullptr));
    return true;
}

/// The server waits for the message: from here on its recipient is in doubt, and is named so before
/// the first byte leaves.
bool SendPass::isMessageAllowed()
{
    try {
        const LedgerEntry entry = entryOf(*m_turn, Fate::InDoubt, interrupted);
        if (!m_control.isStopRequested && m_outcomes.inDoubt() != m_turn->mid)
            commit({}, &entry, m_turn->address());
    } catch (const StorageError &) {
        m_error = std::current_exception(); // which must not pass through the component
    }
    m_isOnItsWay = !m_control.isStopRequested && !m_error;
    return m_isOnItsWay;
}

LedgerEntry SendPass::entryOf(const Turn &turn, Fate fate, const QString &reason) const
{
    return {turn.mid, turn.address(), fate, reason, {}, turn.messageId};
}

/// The same mail to the same recipient has the same one, so that a server can tell a repeat.
QString SendPass::messageIdOf(qint64 mid) const
{
    const QByteArray mail = QByteArray::number(mid) + '\n' + m_digest;
    const QByteArray id =
        QMessageAuthenticationCode::hash(mail, m_key, QCryptographicHash::Sha256).first(16).toHex();
    return QString::fromLatin1(id + '@' + m_messageDomain);
}

/// Makes the mail component's result the recipient's.
void SendPass::judge(LedgerEntry &entry)
{
    const SendResult &result = m_mail.Result;
    entry.reply = onOneLine(result.reply);
    if (result.kind == SendResult::Kind::Sent) {
        m_hasDelivered = true;
        m_waits = 0;
        m_waited = 0s;
        return;
    }
    QString reason = QString(result.explanation).remove(u'"');
    if (result.kind == SendResult::Kind::InDoubt)
        reason.prepend(inDoubtPrefix);
    entry.reason = onOneLine(reason.left(maxReason));
    entry.fate = result.kind == SendResult::Kind::Refused   ? Fate::Failed
                 : result.kind == SendResult::Kind::InDoubt ? Fate::InDoubt
                                                            : Fate::Temporary;
}

/// What was written down of the last few recipients was no fault of theirs.
void SendPass::giveBack(const Turn &turn)
{
    const std::vector<OutcomeWriter::Former> former = m_watch.toGiveBack();
    if (!former.empty()) {
        retry([&] { m_outcomes.giveBack(former); }, turn.address());
        m_progress.pass.failed -= qint64(former.size());
        m_progress.whole.failed -= qint64(former.size());
        m_progress.place = std::min(m_progress.place, former.front().mid - 1);
        m_log.write(u"The last %1 failures are the server's and do not count"_s.arg(former.size()));
    }
    for (const OutcomeWriter::Former &each : former)
        m_givenBack.push_back(each.mid);
    m_givenBack.push_back(turn.mid);
}

/// The outcomes have come about: they are written for as long as a person would wait.
void SendPass::commit(std::span<const LedgerEntry> entries, const LedgerEntry *next,
                      const QString &address)
{
    if (entries.empty() && !next)
        return;
    const qint64 now = m_seams.clock.now().toSecsSinceEpoch();
    retry([&] { m_outcomes.commit(entries, next, now); }, address);
}

void SendPass::retry(const std::function<void()> &write, const QString &address)
{
    for (auto waited = 0ms;; waited += longWait + shortWait) {
        try {
            write();
            break;
        } catch (const StorageError &) {
            if (waited >= patience) {
                m_unrecorded =
                    (m_isOnItsWay ? u"What became of %1 could not be recorded, so it is in doubt."_s
                                  : u"What became of %1 could not be recorded. The job goes on "
                                    "with this recipient when it is started again."_s)
                        .arg(address);
                m_log.write(m_unrecorded);
                throw;
            }
        }
        m_seams.display.show(RunProgress::Phase::WaitingForList);
        m_seams.clock.wait(longWait, m_seams.yield);
    }
    m_progress.phase = RunProgress::Phase::Sending;
}

/// Counts, logs and shows what was committed. `wasFailed`: they were counted as failed before, ...
void SendPass::note(std::span<const LedgerEntry> entries, bool wasInDoubt)
{
    for (const LedgerEntry &entry : entries) {
        m_progress.address = entry.address;
        m_progress.reason = entry.reason;
        count(entry.fate, wasInDoubt);
        const bool isSent = entry.fate == Fate::Sent;
        m_log.write(entry.address + u'\t' + QLatin1Char(isSent ? 'S' : 'F') + u'\t' + entry.reason);
        if (!isSent)
            m_seams.view.noteFailure(entry.address, entry.reason);
        if (!m_progress.failedOnly)
            m_progress.place = entry.mid;
        m_seams.display.show();
    }
}

void SendPass::count(Fate fate, bool wasInDoubt)
{
    using Outcome = RunProgress::Outcome;
    if (m_pass.run.kind == RunKind::Rerun)
        --(wasInDoubt ? m_progress.whole.inDoubt : m_progress.whole.failed);
    for (RunProgress::Count *count : {&m_progress.pass, &m_progress.whole})
        ++(fate == Fate::Sent      ? count->succeeded
           : fate == Fate::InDoubt ? count->inDoubt
                                   : count->failed);
    m_progress.last = fate == Fate::Sent      ? Outcome::Success
                      : fate == Fate::InDoubt ? Outcome::InDoubt
                                              : Outcome::Failed;
}

/// The server took nothing. False when the pass is to end for that reason, or because it was asked
/// to.
bool SendPass::waitForServer()
{
    const SendResult &result = m_mail.Result;
    const QString trouble = onOneLine(result.explanation);
    m_mail.Disconnect();
    if (std::exchange(m_hasDelivered, false) && !isLoginRefused(result))
        return !m_control.isStopRequested;
    const auto next = serverWaits[std::min(m_waits++, serverWaits.size() - 1)];
    m_waited += next;
    if (isLoginRefused(result) || m_waited > m_seams.options.patience) {
        m_trouble = trouble;
        return false;
    }
    m_progress.trouble = trouble;
    wait(RunProgress::Phase::WaitingForServer, next);
    m_progress.trouble.clear();
    return !m_control.isStopRequested;
}

void SendPass::wait(RunProgress::Phase phase, std::chrono::milliseconds time)
{
    m_progress.until = m_seams.clock.now().addMSecs(time.count());
    for (; time.count() > 0 && !m_control.isStopRequested; time -= waitSlice) {
        m_waitedInAll += waitSlice;
        m_seams.display.show(phase);
        m_seams.clock.wait(std::min(time, waitSlice), m_seams.yield);
    }
}

void SendPass::waitUntilAllowed() {}

std::chrono::milliseconds SendPass::rerunWait() const
{
    return m_seams.options.rerunWait.value_or(std::chrono::minutes(m_settings.rerunWaitMinutes));
}

bool SendPass::isBadListWanted()
{
    m_isAnyListWanted =
        m_seams.op.choose(u"The server refuses very many of these recipients, the last with: %1\r\n"
                          "A list as bad as this one can cost you the right to send. Send to the "
                          "others nevertheless?"_s.arg(m_progress.reason),
                          u"Job Manager"_s, {u"Send"_s, u"Pause"_s}, 1) == 0;
    return m_isAnyListWanted;
}
