// A conversation with a mail server about one message after the other.
//
// Sender and receiver are two states over one table of steps. The sender puts commands together
// that go out in one write, and notes the step of each. The receiver takes the replies off these
// notes, in their order, each with the time limit of its step. Where the server offers PIPELINING
// (RFC 2920), the end of a message goes out together with the envelope of the next one, so that a
// message takes one round trip:
//
//     rest of the body, dot, MAIL, RCPT, DATA  -->
//                                              <--  reply to the dot, 250, 250, 354
//
// What it promises:
// - A message is never sent twice, and a dot only ever ends a message that was meant: where the
//   server waits for a message that nobody wants to send any more, the link is closed.
// - Whoever's final dot can't have left is not in doubt, and whoever's was handed to the socket is,
//   until a reply to it comes.
// - A refusal is whose it is: of MAIL and RCPT the first that fails says why, what comes after it
//   (503, 554) is its consequence.
//
// How it fails: each failure ends up in the SendResult of the recipient it belongs to. A server
// that had ended the session before MAIL gets it anew, once. One that answers commands sent with a
// dot with 503, or out of step, is asked again with the envelope alone, and by then in two round
// trips; if even those replies are out of step, each command waits for the reply to the one before.
//
// Limits: what a server teaches is forgotten when another account is used, not before. A server
// that answers more often than it is asked is only found out where the replies stop making sense.

#include "smtpsession.h"

#include <algorithm>

using Kind = SendResult::Kind;

namespace
{

using namespace std::chrono_literals;

struct StepRule {
    Smtp::Step step;
    /// What RFC 5321, 4.5.3.2, asks for: a server that is slow at the end of a message delivers it,
    /// and who hangs up too early sends it again. Before the greeting and at the goodbye nothing is
    /// lost.
    std::chrono::milliseconds limit;
    const char *command;
    int goesOnWith; ///< the class of the reply that lets the next step follow
    Kind whenLost;  ///< what becomes of the recipient when the session ends instead
};

constexpr StepRule table[] = {
    {Smtp::Connect, 30s, "", 0, Kind::NoSession},
    {Smtp::Greet, 5min, "", 2, Kind::NoSession},
    {Smtp::Reset, 5min, "RSET", 2, Kind::NoSession},
    {Smtp::Mail, 5min, "MAIL FROM:", 2, Kind::NoSession},
    {Smtp::Rcpt, 5min, "RCPT TO:", 2, Kind::SessionLost},
    {Smtp::Data, 2min, "DATA", 3, Kind::SessionLost},
    {Smtp::Block, 3min, "", 0, Kind::SessionLost},
    {Smtp::End, 10min, ".", 2, Kind::InDoubt},
    {Smtp::Quit, 5s, "QUIT", 2, Kind::NoSession},
};

constexpr Smtp::Times limits()
{
    Smtp::Times times{};
    for (const StepRule &rule : table)
        times[rule.step] = rule.limit;
    return times;
}

// Small enough that the progress moves and the window lives on a slow line.
constexpr qsizetype bytesInWrite = qsizetype{128} * 1024;

constexpr int badSequence = 503;

// Some servers count a DATA without recipients as one more error, slow down and then hang up.
constexpr int refusalsBeforeCare = 3;

constexpr char beforeMessage[] = " before the message";

bool isBeyondAscii(const QByteArray &text)
{
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

/// As DATA carries it: a line that starts with a dot gets a second one.
void stuffDots(QByteArray &text)
{
    qsizetype end = text.indexOf('\n');
    while (end >= 0 && text.constData()[end + 1] != '.')
        end = text.indexOf('\n', end + 1);
    if (end >= 0)
        text.replace("\n.", "\n..");
}

SendResult replied(Kind kind, const SmtpReply &reply)
{
    const QString text = reply.text();
    return {.kind = kind, .explanation = text, .reply = text, .code = reply.code()};
}

/// Of a reply that is the recipient's.
Kind refusalKind(const SmtpReply &reply)
{
    return reply.kind() == 4 ? Kind::Deferred : Kind::Refused;
}

bool isLoginRefusal(int code)
{
    return code == 530 || code == 534 || code == 535;
}

} // namespace

constinit const Smtp::Times Smtp::times = limits();

SmtpSession::SmtpSession(Yield &yield, const Smtp::Times &times)
    : m_connection(yield, times)
{
}

bool SmtpSession::open(const SmtpAccount &account, SendResult &fault)
{
    if (isOpenFor(account))
        return true;
    quit();
    fault = {.kind = Kind::NoSession};
    MailHost host;
    fault.explanation = readMailHost(account.host, host);
    if (fault.explanation.isEmpty() && account.login.wanted && account.login.user.isEmpty())
        fault.explanation = QStringLiteral("The login at %1 needs an account name").arg(host.name);
    if (!fault.explanation.isEmpty())
        return false;
    emit connecting(host.name);
    if (!m_connection.open(host, account.login)) {
        if (const SmtpReply &reply = m_connection.openingReply(); reply.isRefusal())
            fault = replied(Kind::NoSession, reply);
        fault.isLoginRefused = isLoginRefusal(fault.code);
        fault.explanation = m_connection.fault();
        return false;
    }
    if (account != m_account) {
        m_grouping = Grouping::OneTrip;
        m_refusals = 0;
    }
    m_account = account;
    m_leftover = false;
    return true;
}

void SmtpSession::takeBack()
{
    if (isNextDue() || !m_awaited.isEmpty())
        m_connection.close();
    m_awaited.clear();
    m_ahead = {};
}

void SmtpSession::quit()
{
    takeBack();
    m_connection.quit();
}

bool SmtpSession::isOpenFor(const SmtpAccount &account) const
{
    return m_connection.isOpen() && account == m_account;
}

SmtpSession::Grouping SmtpSession::grouping() const
{
    return m_connection.offersPipelining() ? m_grouping : Grouping::Plain;
}

/// Whether it has letters before the "@" that only a server with SMTPUTF8 takes.
bool SmtpSession::needsUtf8(const SmtpEnvelope &envelope) const
{
    return isBeyondAscii(envelope.sender) || isBeyondAscii(envelope.recipient);
}

SendResult SmtpSession::deliver(const SmtpAccount &account, SmtpMessage message)
{
    if (m_ahead.envelope != message.envelope || account != m_account) {
        takeBack();
        m_ahead = {message.envelope};
    }
    Asked asked = std::exchange(m_ahead, {});
    receive(asked);
    for (;;) {
        if (asked.state == Asked::Due)
            return sendMessage(message);
        if (asked.state == Asked::Failed)
            return asked.result;
        const bool wasOpen = isOpenFor(account);
        if (!open(account, asked.result))
            return asked.result;
        if (needsUtf8(asked.envelope) && !m_connection.offersUtf8())
            return {.kind = isBeyondAscii(asked.envelope.sender) ? Kind::NoSession : Kind::Refused,
                    .explanation = QStringLiteral("%1 does not take addresses with letters beyond "
                                                  "ASCII before the @")
                                       .arg(m_connection.serverName())};
        ask(asked);
        if (asked.state == Asked::Stale && !wasOpen)
            return asked.result;
    }
}

// ---- The sender

/// Puts a command to those that go out together.
void SmtpSession::say(Smtp::Step step, const SmtpEnvelope &envelope)
{
    m_lines += table[step].command;
    if (step == Smtp::Mail) {
        m_lines.append('<').append(envelope.sender).append('>');
        if (m_connection.offersEightBits())
            m_lines += " BODY=8BITMIME";
        if (needsUtf8(envelope))
            m_lines += " SMTPUTF8";
    } else if (step == Smtp::Rcpt) {
        m_lines.append('<').append(envelope.recipient).append('>');
    }
    m_lines += "\r\n";
    m_awaited.append(step);
}

/// Asks for an envelope, and waits for what becomes of it.
void SmtpSession::ask(Asked &asked)
{
    m_isBehindDot = false;
    asked.state = Asked::Not;
    for (int step = m_leftover ? Smtp::Reset : Smtp::Mail; step <= Smtp::Data; ++step) {
        say(static_cast<Smtp::Step>(step), asked.envelope);
        const bool isAlone = grouping() == Grouping::Plain ||
                             (step == Smtp::Rcpt && m_refusals >= refusalsBeforeCare);
        if (step < Smtp::Data && !isAlone)
            continue;
        m_connection.write(std::exchange(m_lines, {}));
        if (!receive(asked))
            return;
    }
}

/// Writes a message and all that was said to follow it. Returns whether its dot went out.
bool SmtpSession::write(SmtpMessage &message)
{
    stuffDots(message.text);
    QByteArray end = std::exchange(m_lines, {});
    const qsizetype all = message.text.size() + message.parts.size() + end.size();
    const qsizetype behindDot = all - end.size() + qsizetype(qstrlen(".\r\n"));
    if (all <= bytesInWrite) {
        message.text.append(std::exchange(message.parts, {})).append(std::exchange(end, {}));
    }
    qsizetype done = 0;
    // Large parts are the same for everybody: they are not copied.
    for (const QByteArrayView piece :
         {QByteArrayView(message.text), QByteArrayView(message.parts), QByteArrayView(end)}) {
        for (qsizetype at = 0; at < piece.size(); at += bytesInWrite) {
            const QByteArrayView block =
                piece.sliced(at).first(std::min(bytesInWrite, piece.size() - at));
            const qsizetype written = m_connection.write(block);
            done += written;
            if (written < block.size())
                return done >= behindDot;
            m_connection.pace().step();
            emit progressed(static_cast<int>(done * 100 / all));
        }
    }
    return true;
}

SendResult SmtpSession::sendMessage(SmtpMessage &message)
{
    if (message.isWanted && !message.isWanted()) {
        m_connection.close();
        return {.kind = Kind::NotWanted,
                .explanation = QStringLiteral("The message was called off before it went out")};
    }
    // Whoever finds the link gone now is not in doubt; a write would not notice it.
    if (!m_connection.isQuiet()) {
        const SmtpReply reply = m_connection.read(Smtp::Data);
        m_connection.close();
        return ended(Kind::SessionLost, reply, beforeMessage);
    }
    Asked next{{message.envelope.sender, message.next}};
    say(Smtp::End, message.envelope);
    if (!message.next.isEmpty() && grouping() == Grouping::OneTrip &&
        (m_connection.offersUtf8() || !needsUtf8(next.envelope))) {
        say(Smtp::Mail, next.envelope);
        say(Smtp::Rcpt, next.envelope);
        say(Smtp::Data, next.envelope);
    }
    const SendResult result = receiveEnd(write(message));
    // The result does not wait for a server that needs long for the next envelope.
    m_isBehindDot = true;
    receive(next, false);
    m_ahead = next;
    return result;
}

// ---- The receiver

/// Takes the reply that settles a message.
SendResult SmtpSession::receiveEnd(bool isDotOut)
{
    m_awaited.removeFirst(); // the dot
    m_leftover = false;
    const SmtpReply reply = m_connection.read(Smtp::End);
    const bool isClosing = reply.code() == SmtpReply::serviceClosing;
    if (isClosing || !isDotOut)
        m_connection.close();
    if (reply.isRefusal() && (isDotOut || !isClosing))
        return replied(refusalKind(reply), reply);
    if (!isDotOut)
        return ended(Kind::SessionLost, reply, " in the middle of the message");
    if (reply.kind() == table[Smtp::End].goesOnWith)
        return {.reply = reply.text(), .code = reply.code()};
    m_connection.close();
    return ended(table[Smtp::End].whenLost, reply,
                 " after the whole message; it may have been delivered");
}

/// Takes the replies that are owed for an envelope, those that are near or all of them. Returns
/// whether the next step can follow.
bool SmtpSession::receive(Asked &asked, bool isPatient)
{
    while (m_connection.isOpen() && !m_awaited.isEmpty()) {
        if (!isPatient && !m_connection.isReplyNear(m_awaited.first()))
            return false;
        const Smtp::Step step = m_awaited.takeFirst();
        const SmtpReply reply = m_connection.read(step);
        const bool isGood = reply.kind() == table[step].goesOnWith;
        if (reply.code() == 0 || reply.code() == SmtpReply::serviceClosing)
            lose(asked, step, reply);
        else if ((!isGood && !reply.isRefusal()) ||
                 (m_isBehindDot && step == Smtp::Mail && reply.code() == badSequence))
            getOutOfStep(asked, step, reply);
        else if (isGood)
            accept(asked, step);
        else if (asked.state == Asked::Not || asked.state == Asked::Taken)
            refuse(asked, step, reply);
    }
    m_awaited.clear();
    return m_connection.isOpen() && (asked.state == Asked::Not || asked.state == Asked::Taken);
}

void SmtpSession::accept(Asked &asked, Smtp::Step step)
{
    if (step == Smtp::Mail) {
        m_leftover = true;
    } else if (step == Smtp::Rcpt && asked.state == Asked::Not) {
        asked.state = Asked::Taken;
        m_refusals = 0;
    } else if (step == Smtp::Data && asked.state == Asked::Taken) {
        asked.state = Asked::Due;
    } else if (step == Smtp::Data && asked.state == Asked::Failed && m_leftover) {
        // Having refused the recipient it asks for the message all the same. It gets an empty one,
        // which is for nobody.
        m_connection.write(".\r\n");
        if (m_connection.read(Smtp::End).code() == SmtpReply::serviceClosing)
            m_connection.close();
    } else if (step == Smtp::Data) {
        m_connection.close(); // who knows for whom it would be
    }
}

void SmtpSession::refuse(Asked &asked, Smtp::Step step, const SmtpReply &reply)
{
    asked.state = Asked::Failed;
    asked.result = replied(table[step].whenLost, reply);
    if (step == Smtp::Reset || (step == Smtp::Mail && reply.code() == badSequence)) {
        // It holds something that a new session does not.
        asked.state = Asked::Stale;
        m_connection.close();
    } else if (step == Smtp::Mail) {
        m_leftover = false;
        asked.result.isLoginRefused = isLoginRefusal(reply.code());
    } else {
        asked.result.kind = refusalKind(reply);
        if (step == Smtp::Rcpt) {
            asked.result.maybeForEverybody = reply.maybeForEverybody();
            ++m_refusals;
        }
    }
}

void SmtpSession::lose(Asked &asked, Smtp::Step step, const SmtpReply &reply)
{
    m_connection.close();
    if (asked.state == Asked::Failed)
        return; // a refusal before the end says more than the end itself
    asked.state = step <= Smtp::Mail && !m_connection.timedOut() ? Asked::Stale : Asked::Failed;
    asked.result = ended(table[step].whenLost, reply, beforeMessage);
}

void SmtpSession::getOutOfStep(Asked &asked, Smtp::Step step, const SmtpReply &reply)
{
    asked.state = Asked::Again;
    if (grouping() == Grouping::Plain) {
        asked.state = Asked::Failed;
        asked.result = ended(table[step].whenLost, reply, beforeMessage);
    }
    // A plain refusal leaves the replies in step with their commands.
    if (!reply.isRefusal())
        m_connection.close();
    m_grouping = m_isBehindDot ? Grouping::TwoTrips : Grouping::Plain;
}

/// The result of a reply that is no answer to what was asked, or of none.
SendResult SmtpSession::ended(Kind kind, const SmtpReply &reply, const char *when) const
{
    if (reply.code() == SmtpReply::serviceClosing)
        return replied(kind, reply);
    if (reply.code() == 0)
        return {.kind = kind, .explanation = m_connection.fault() + QLatin1String(when)};
    SendResult result = replied(kind, reply);
    result.explanation = QStringLiteral("%1 answers out of step (%2)%3")
                             .arg(m_connection.serverName(), result.reply, QLatin1String(when));
    return result;
}
