#include "commands.h"
#include "listing.h"
#include "terminal.h"

#include "connection.h"
#include "messagestore.h"
#include "programfolder.h"
#include "settingsstore.h"
#include "smtpsendmail.h"
#include "testsend.h"

ExitStatus listMessages(const ProgramFolder &folder, bool json)
{
    const std::vector<MessageHead> messages = findMessages(folder);
    const auto rows = [&](const PrintRow &print) {
        for (const MessageHead &message : messages)
            print({QString::number(message.number), message.subject, message.senderName,
                   message.senderAddress, message.format});
    };
    printListing({{"msgid", "Mail ID", true},
                  {"subject", "Subject"},
                  {"sendername", "Sender Name"},
                  {"senderemail", "Sender Email"},
                  {"format", "Format"}},
                 rows, json);
    return Complete;
}

ExitStatus testSend(const ProgramFolder &folder, const QString &message, const QString &address)
{
    const std::vector<MessageHead> messages = findMessages(folder);
    Connection system(folder.systemConnectionString());
    const JobMessage stored =
        loadMessage(system, oneNamed(messages, QStringLiteral("message"), message,
                                     &MessageHead::number, &MessageHead::subject,
                                     QStringLiteral("There is no message \"%1\".").arg(message))
                                .number);
    system.close();

    EventLoopYield yield;
    SmtpSendMail mail(yield);
    const SettingsStore settings(folder);
    ProgressBar bar;
    ConsoleOperator op(0, bar);
    TestSend test(mail, settings, op);
    const TestSend::Obstacle obstacle = test.check(stored, address);
    if (obstacle == TestSend::Obstacle::NoServer)
        tellSettings();
    if (obstacle != TestSend::Obstacle::None)
        return Refused;
    if (!test.send(stored, address))
        return CompleteWithFailures;
    printMessage(QStringLiteral("Send success !"));
    return Complete;
}
