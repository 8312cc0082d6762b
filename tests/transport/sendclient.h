#pragma once

#include "smtpsendmail.h"
#include "smtpserver.h"
#include "yield.h"

#include <QRegularExpression>

#include <functional>

/// Counts, and runs what a test wants to happen while the component waits.
class ScriptedYield final : public Yield
{
public:
    void yield() override
    {
        ++count;
        if (action)
            action();
    }

    int count = 0;
    std::function<void()> action;
};

/// The component as the program holds it, with all that it has told.
class SendClient
{
public:
    explicit SendClient(const QString &host, SmtpTimeouts timeouts = {})
        : mail(yield, nullptr, timeouts)
    {
        mail.Host = host;
        mail.SenderAddress = QStringLiteral("a@example.org");
        mail.Recipient = QStringLiteral("b@example.net");
        mail.Subject = QStringLiteral("News");
        mail.Body = QStringLiteral("Hello\n");
        QObject::connect(&mail, &SendMail::SendFailed,
                         [this](const QString &reason) { outcomes << reason; });
        QObject::connect(&mail, &SendMail::SendSuccesful,
                         [this] { outcomes << QStringLiteral("sent"); });
        QObject::connect(&mail, &SendMail::Status,
                         [this](const QString &text) { statuses << text; });
    }
    explicit SendClient(const SmtpServer &server, SmtpTimeouts timeouts = {})
        : SendClient(QStringLiteral("127.0.0.1:%1").arg(server.port()), timeouts)
    {
    }

    void logIn(const QString &user = QStringLiteral("user"))
    {
        mail.Authenticate = true;
        mail.UserName = user;
        mail.Password = QStringLiteral("s3cret");
    }

    /// Sends one message and returns its outcome: "sent", or the reason.
    QString send(const QString &recipient = QStringLiteral("b@example.net"))
    {
        const auto before = outcomes.size();
        mail.Recipient = recipient;
        mail.Send();
        return outcomes.mid(before).join(QStringLiteral(" AND "));
    }

    ScriptedYield yield;
    SmtpSendMail mail;
    QStringList outcomes;
    QStringList statuses;
};

/// The program's time limits, or where the server stalls ones that are short enough to wait for.
inline SmtpTimeouts timeoutsFor(const QList<ServerRule> &rules)
{
    using std::chrono::milliseconds;
    for (const ServerRule &one : rules)
        if (one.action == ServerRule::Action::Stall)
            return {milliseconds(700), milliseconds(700), milliseconds(100)};
    return {};
}

inline ServerRule rule(const QByteArray &command, ServerRule::Action action, int times = -1,
                       int skip = 0)
{
    ServerRule made{command};
    made.action = action;
    made.times = times;
    made.skip = skip;
    return made;
}

inline ServerRule answer(const QByteArray &command, const QByteArrayList &reply, int times = -1,
                         int skip = 0)
{
    ServerRule made = rule(command, ServerRule::Action::Reply, times, skip);
    made.reply = reply;
    return made;
}

/// Makes the server one that wants each command by itself.
inline ServerRule withoutPipelining()
{
    return answer("EHLO", {"250-localhost", "250 8BITMIME"});
}

/// The lines of all sessions that contain `text`.
inline QByteArrayList said(const SmtpServer &server, const QByteArray &text)
{
    QByteArrayList lines = server.transcript();
    lines.removeIf([&text](const QByteArray &line) { return !line.contains(text); });
    return lines;
}

/// A server that follows these rules, and a client of it. The server takes commands sent together,
/// or wants each by itself.
struct Exchange {
    explicit Exchange(QList<ServerRule> rules = {}, bool together = true)
        : server(options(together ? rules : rules << withoutPipelining()))
        , client(server, timeoutsFor(rules))
    {
    }
    static ServerOptions options(const QList<ServerRule> &rules)
    {
        ServerOptions made;
        made.rules = rules;
        return made;
    }

    SmtpServer server;
    SendClient client;
};

/// The rule that delays the answer to a command.
inline ServerRule delay(const QByteArray &command, std::chrono::milliseconds time)
{
    ServerRule made{command};
    made.delay = time;
    return made;
}
