#pragma once

#include <QObject>
#include <QString>

/// The mail component: the program sets its values, asks it to connect, send and disconnect, and
/// listens to its events. One recipient per Send. Used from one thread only.
///
/// Values are read at the call that uses them: Host, Authenticate, UserName and Password when the
/// session opens (Connect, or Send when no session is open), the others at Send. Values that are
/// not set again keep what they held.
///
/// Every Send ends in exactly one of SendSuccesful and SendFailed before it returns; neither
/// operation throws.
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
    QString Subject;
    QString Body;

    /// Opens the session (and logs in). Returns whether it is open; the reason of a failure is
    /// told by Status, and by SendFailed of the next Send that fails the same way.
    virtual bool Connect() = 0;
    /// Sends one message built from the values, opening the session when none is open.
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
