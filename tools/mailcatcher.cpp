// An SMTP server that delivers nothing: it puts every message it is sent into a folder, so that a
// job can be tried out and looked at without a mail server or real recipients.

#include "smtpserver.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace
{

/// The folder the messages go to, as 000001.eml and so on, after those it already holds.
class MailFolder
{
public:
    explicit MailFolder(const QString &path)
        : m_folder(path)
    {
    }

    /// Makes the folder if it is not there.
    bool prepare()
    {
        if (!m_folder.mkpath(QStringLiteral(".")))
            return false;
        for (const QString &name : m_folder.entryList({QStringLiteral("*.eml")}, QDir::Files))
            m_last = std::max(m_last, name.chopped(4).toInt());
        return true;
    }

    bool store(const ReceivedMessage &message)
    {
        // The envelope as header lines of the message itself: the file stays a valid message.
        QByteArray content = "X-Envelope-From: " + message.sender + "\r\n";
        for (const QByteArray &recipient : message.recipients)
            content += "X-Envelope-To: " + recipient + "\r\n";
        content += message.data;

        QFile file(m_folder.filePath(QStringLiteral("%1.eml").arg(m_last + 1, 6, 10, QChar(u'0'))));
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly) ||
            file.write(content) != content.size() || !file.flush()) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(file.fileName()),
                         qPrintable(file.errorString()));
            if (file.isOpen())
                file.remove(); // half a message is worse than none
            return false;
        }
        ++m_last;
        return true;
    }

private:
    QDir m_folder;
    int m_last = 0;
};

int fail(const QString &why)
{
    std::fprintf(stderr, "quillbright-mailcatcher: %s\n", qPrintable(why));
    return 1;
}

int run(const QCommandLineParser &arguments, const sigset_t &stop)
{
    bool isPort = false;
    ServerOptions options;
    options.port = arguments.value(QStringLiteral("port")).toUShort(&isPort);
    if (!isPort)
        return fail(QStringLiteral("--port takes a number from 0 to 65535"));
    for (const QString &text : arguments.values(QStringLiteral("reject"))) {
        ServerRule rule;
        rule.command = "RCPT";
        rule.text = text.toUtf8();
        rule.reply = {"550 5.1.1 No such user here"};
        options.rules.append(rule);
    }
    const QString path = arguments.value(QStringLiteral("out"));
    if (path.isEmpty())
        return fail(QStringLiteral("--out DIR is needed"));
    MailFolder folder(path);
    if (!folder.prepare())
        return fail(QStringLiteral("cannot make the folder %1").arg(path));
    options.store = [&folder](const ReceivedMessage &message) { return folder.store(message); };

    const SmtpServer server(options);
    if (server.port() == 0)
        return fail(QStringLiteral("cannot listen on port %1").arg(options.port));
    std::printf("PORT %d\n", server.port());
    std::fflush(stdout);

    int signal = 0;
    sigwait(&stop, &signal);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    // Held back before there is any other thread, so that run() can wait for them.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGINT);
    sigaddset(&stop, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);

    const QCoreApplication application(argc, argv);
    QCommandLineParser arguments;
    arguments.setApplicationDescription(QStringLiteral(
        "Takes mail on 127.0.0.1, prints \"PORT N\" and stores every message in a folder."));
    arguments.addHelpOption();
    arguments.addOptions({
        {QStringLiteral("out"), QStringLiteral("The folder for the messages."),
         QStringLiteral("DIR")},
        {QStringLiteral("port"), QStringLiteral("The port to listen on; 0: one that is free."),
         QStringLiteral("N"), QStringLiteral("0")},
        {QStringLiteral("reject"),
         QStringLiteral("Refuse recipients that contain TEXT; may be repeated."),
         QStringLiteral("TEXT")},
    });
    arguments.process(application);
    return run(arguments, stop);
}
