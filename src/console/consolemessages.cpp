#include "consolemessages.h"

#include "progressbar.h"
#include "table.h"
#include "terminal.h"

#include "connection.h"
#include "messagestore.h"
#include "programfolder.h"
#include "settingsstore.h"
#include "smtpsendmail.h"
#include "testsend.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <optional>

namespace
{

QString json(const std::vector<MessageHead> &messages)
{
    QJsonArray array;
    for (const MessageHead &message : messages)
        array.append(QJsonObject{{QStringLiteral("msgid"), message.number},
                                 {QStringLiteral("subject"), message.subject},
                                 {QStringLiteral("sendername"), message.senderName},
                                 {QStringLiteral("senderemail"), message.senderAddress},
                                 {QStringLiteral("format"), message.format}});
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented)).trimmed();
}

QString table(const std::vector<MessageHead> &messages)
{
    std::vector<QStringList> rows;
    for (const MessageHead &message : messages)
        rows.push_back({QString::number(message.number), message.subject, message.senderName,
                        message.senderAddress, message.format});
    return table({{QStringLiteral("Mail ID"), true},
                  {QStringLiteral("Subject")},
                  {QStringLiteral("Sender Name")},
                  {QStringLiteral("Sender Email")},
                  {QStringLiteral("Format")}},
                 rows);
}

/// The one message of the number or subject; tells why there is none.
std::optional<qint64> findMessage(const ProgramFolder &folder, const QString &message)
{
    std::vector<qint64> named;
    for (const MessageHead &head : findMessages(folder)) {
        if (QString::number(head.number) == message)
            return head.number;
        if (head.subject == message)
            named.push_back(head.number);
    }
    if (named.size() == 1)
        return named.front();
    printMessage(named.empty()
                     ? QStringLiteral("There is no message \"%1\".").arg(message)
                     : QStringLiteral("There are %1 messages with the subject \"%2\"; give the "
                                      "message's number.")
                           .arg(QString::number(named.size()), message));
    return {};
}

} // namespace

ExitStatus listMessages(const ProgramFolder &folder, bool asJson)
{
    return withStorage([&] {
        const std::vector<MessageHead> messages = findMessages(folder);
        printResult(asJson ? json(messages) : table(messages));
        return Complete;
    });
}

ExitStatus testSend(const ProgramFolder &folder, const QString &message, const QString &address)
{
    return withStorage([&] {
        const auto number = findMessage(folder, message);
        if (!number)
            return Refused;
        Connection system(folder.systemConnectionString());
        const JobMessage stored = loadMessage(system, *number);
        system.close();

        EventLoopYield yield;
        SmtpSendMail mail(yield);
        const SettingsStore settings(folder);
        ProgressBar bar;
        ConsoleOperator op(0, bar);
        TestSend test(mail, settings, op);
        const TestSend::Obstacle obstacle = test.check(stored, address);
        if (obstacle == TestSend::Obstacle::NoServer)
            ConsoleView(bar).openOptions();
        if (obstacle != TestSend::Obstacle::None)
            return Refused;
        if (!test.send(stored, address))
            return CompleteWithFailures;
        printMessage(QStringLiteral("Send success !"));
        return Complete;
    });
}
