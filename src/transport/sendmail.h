#pragma once

#include <QObject>
#include <QString>

#include <functional>

/// What became of a send, as far as a caller must tell recipients and server apart.
struct SendResult {
    enum class Kind {
        Sent,     ///< the server has the message
        Refused,  ///< this recipient's, and final: an address fault, or a 5xx to RCPT, DATA or the
                  ///< dot
        Deferred, ///< this recipient's, for now: a 4xx there
        /// The final dot may have left, and no reply to it came: nobody knows.
        InDoubt,
        /// Nobody's but the server's, or the line's, and nothing was delivered: no session (name,
        /// connection, encryption, greeting, login), 421 before the dot, MAIL refused, a reply that
        /// makes no sense. The recipient can be sent to later.
        NoSession,
        /// The same once RCPT had been asked for: it may lie with this recipient after all.
        SessionLost,
        NotWanted, ///< MessageDue has said no; the link was closed, and nobody got anything
    };

    Kind kind = Kind::Sent;
    QString explanation = {}; ///< what SendFailed told; empty for Sent
    /// The server's whole reply that decided it, on one line and without secrets; for Sent too.
    /// Empty where no reply did.
    QString reply = {};
    int code = 0; ///< of that reply; 0 where there is none
    /// The login was refused (530, 534, 535): another try would not change it.
    bool isLoginRefused = false;
    /// Refused or Deferred at RCPT in words that many servers have for everybody: 530, an enhanced
    /// code of class x.3 or x.7 (RFC 3463, 3.4 and 3.8), or that it does not relay.
    bool maybeForEverybody = false;
};

/// The mail component: the program sets its values, asks it to connect, send and disconnect, and
/// listens to its events. One recipient per Send. Used from one thread only.
///
/// Values are read at the call that uses them: Host, Authenticate, UserName and Password when the
/// session opens (Connect, or Send when no session is open), the others at Send; the sender is
/// checked and the attachments are looked at when they change and at Connect, not for each message.
/// Values that are not set again keep what they held.
///
/// Every Send ends in exactly one of SendSuccesful and SendFailed before it returns, and then
/// `Result` tells more; neither operation throws.
class SendMail : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// `name`, `name:port`, `[v6]:port`, `smtp://...` or `smtps://...`.
    QString Host;
    QString SenderAddress;
    QString SenderName;
    bool HtmlBody = false;
    /// 1: a recipient address of the wrong shape fails the send before anything is sent; 0: no
    /// such check.
    int AddressCheck = 0;
    /// Up to three full paths joined by ";", without a trailing one.
    QString Attachments;
    /// true: log in with UserName and Password.
    bool Authenticate = false;
    QString UserName;
    QString Password;
    QString Recipient;
    /// The recipient of the Send that follows at once, so that the server can be asked for it
    /// together with the end of this message; empty where nothing follows at once. What the server
    /// says to it is kept for that Send: a refusal, or a session lost over it, is told there
    /// without another word to the server. A Send to somebody else, or with other values for the
    /// session or the sender, takes it back.
    QString Next;
    QString Subject;
    QString Body;
    /// What stands before the "@" of the message's Message-ID; empty for one of the component's
    /// own.
    QByteArray MessageId;

    /// Asked when the server waits for the message, before its first byte goes out, also where it
    /// has waited since the Send before (IsNextDue). False closes the link: the message is not
    /// sent, and the Send fails as NotWanted. May run for as long as it wants, but the server does
    /// not wait for ever: whose link is found gone after it is not in doubt. Must not throw. Not
    /// set: true.
    std::function<bool()> MessageDue;

    /// Of the last Send, or of a Connect after it that failed (so that a refused login need not be
    /// tried again to be seen).
    SendResult Result;
    /// After a Send with `Next`, whatever became of that Send: the server waits for Next's message,
    /// so that the next Send writes its first byte at once, when MessageDue allows it. False where
    /// it does not, or has not answered yet: a Send ends with its own result, and the next one
    /// waits for the rest. Disconnect then closes the link without another word, and nobody gets an
    /// empty message.
    bool IsNextDue = false;

    /// Opens the session (and logs in). Returns whether it is open; the reason of a failure is
    /// told by Status, and by SendFailed of the next Send that fails the same way.
    virtual bool Connect() = 0;
    /// Sends one message built from the values, opening the session when none is open. A session
    /// that turns out to have ended before MAIL is opened anew once.
    virtual void Send() = 0;
    /// Ends the session; without one it does nothing.
    virtual void Disconnect() = 0;

signals:
    /// The percentage (0 to 100) of the message that has gone out.
    void Progress(int percent);
    /// Why the send failed, in words for the operator; a refusal holds the server's own reply.
    void SendFailed(const QString &explanation);
    void SendSuccesful();
    /// What the component is doing, for a status line.
    void Status(const QString &text);
};
