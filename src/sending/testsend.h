#pragma once

#include <QObject>
#include <QString>

class LiveSettings;
class Operator;
class SendMail;
struct JobMessage;

/// Sends a stored message as it is, merge fields and all, to one typed address.
class TestSend final : public QObject
{
public:
    enum class Obstacle { None, NoAddress, NoServer, MissingAttachment };

    /// All of them must outlive the object.
    TestSend(SendMail &mail, const LiveSettings &settings, Operator &op);

    /// Looks whether the message can be sent to `address`; tells the operator what is in the way.
    Obstacle check(const JobMessage &message, const QString &address) const;

    /// Sends; false when that failed, and the operator was told why.
    bool send(const JobMessage &message, const QString &address);

private:
    void setValues(const JobMessage &message, const QString &address);

    SendMail &m_mail;
    const LiveSettings &m_settings;
    Operator &m_operator;
    QStringList m_failures; ///< of the last send
};
