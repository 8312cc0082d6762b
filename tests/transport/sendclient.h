#pragma once

#include "smtpsendmail.h"
#include "smtpserver.h"
#include "yield.h"

#include <functional>

using namespace Qt::StringLiterals;

/// Counts, and runs what a test wants to happen while the component waits.
struct ScriptedYield final : Yield {
    void yield() override
    {
        if (++count == 1 && action)
            action();
    }

    int count = 0;
    std::function<void()> action; ///< the first time
};

/// The component as the program holds it, with all that it has told.
struct SendClient {
    explicit SendClient(const QString &host, const Smtp::Times &times = Smtp::times)
        : mail(yield, nullptr, times)
    {
        mail.Host = host;
        mail.SenderAddress = u"a@example.org"_s;
        mail.Subject = u"News"_s;
        mail.Body = u"Hello\n"_s;
        QObject::connect(&mail, &SendMail::SendFailed, [this](auto text) { outcomes << text; });
        QObject::connect(&mail, &SendMail::SendSuccesful, [this] { outcomes << u"sent"_s; });
        QObject::connect(&mail, &SendMail::Status, [this](auto text) { statuses << text; });
        QObject::connect(&mail, &SendMail::Progress, [this](int share) { percents << share; });
    }

    void logIn(const QString &user = u"user"_s)
    {
        mail.Authenticate = true;
        mail.UserName = user;
        mail.Password = u"s3cret"_s;
    }

    /// Sends one message and returns its outcome: "sent", or the reason.
    QString send(const QString &recipient = u"b@example.net"_s)
    {
        const auto before = outcomes.size();
        mail.Recipient = recipient;
        mail.Send();
        return outcomes.mid(before).join(u" AND "_s);
    }

    /// The outcomes of `count` messages, parted by "|".
    QString sendAll(int count)
    {
        const auto before = outcomes.size();
        for (int i = 0; i < count; ++i)
            send();
        return outcomes.mid(before).join(u'|');
    }

    ScriptedYield yield;
    SmtpSendMail mail;
    QStringList outcomes, statuses;
    QList<int> percents;
};

inline ServerRule rule(const QByteArray &command, ServerRule::Action action, int times = -1,
                       int skip = 0)
{
    return {.command = command, .action = action, .skip = skip, .times = times};
}

inline ServerRule answer(const QByteArray &command, const QByteArrayList &reply, int times = -1,
                         int skip = 0)
{
    return {.command = command, .reply = reply, .skip = skip, .times = times};
}

/// Makes the server one that wants each command by itself.
inline ServerRule withoutPipelining()
{
    return answer("EHLO", {"250-localhost", "250 8BITMIME"});
}

/// The program's time limits, but a short one for this step.
inline Smtp::Times impatientAt(Smtp::Step step)
{
    Smtp::Times times = Smtp::times;
    times[step] = std::chrono::milliseconds(200);
    return times;
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
    explicit Exchange(QList<ServerRule> rules = {}, bool together = true,
                      const Smtp::Times &times = Smtp::times)
        : server({.rules = together ? rules : rules << withoutPipelining()})
        , client(u"127.0.0.1:%1"_s.arg(server.port()), times)
    {
    }

    SmtpServer server;
    SendClient client;
};
