#include "scriptedclient.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

class TestMailCatcher : public QObject
{
    Q_OBJECT

private slots:
    void storesMessages();
    void refusesBadArguments();
};

void TestMailCatcher::storesMessages()
{
    const QTemporaryDir parent;
    QDir folder(parent.filePath(QStringLiteral("new/mail")));
    // The second run finds what the first has left.
    for (int number = 1; number <= 2; ++number) {
        QProcess process;
        process.start(QStringLiteral(MAILCATCHER),
                      {QStringLiteral("--out"), folder.path(), QStringLiteral("--reject"),
                       QStringLiteral("nobody"), QStringLiteral("--reject"),
                       QStringLiteral("gone")});
        QTRY_VERIFY(process.canReadLine());
        const QByteArray line = process.readLine();
        QVERIFY(line.startsWith("PORT "));
        ScriptedClient client(line.mid(5).trimmed().toUShort());
        const Conversation played = client.converse(R"(
            | 220
            HELO me | 250
            MAIL FROM:<a@x.org> | 250
            RCPT TO:<nobody@x.org> | 550 5.1.1 No such user here
            RCPT TO:<b@gone.org> | 550 5.1.1 No such user here
            RCPT TO:<b@x.org> | 250
            RCPT TO:<c@x.org> | 250
            DATA | 354
            Subject: Hi
            ..
            . | 250)");
        QCOMPARE(played.happened, played.expected);
        QFile file(folder.filePath(QStringLiteral("00000%1.eml").arg(number)));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("X-Envelope-From: a@x.org\r\n"
                                            "X-Envelope-To: b@x.org\r\nX-Envelope-To: c@x.org\r\n"
                                            "Subject: Hi\r\n.\r\n"));
        if (number == 2) {
            folder.removeRecursively();
            QVERIFY(client.send("Hi\r\n").startsWith("452"));
        }
        process.terminate();
        QTRY_COMPARE(process.state(), QProcess::NotRunning);
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardError().contains("000003.eml"), number == 2);
    }
}

void TestMailCatcher::refusesBadArguments()
{
    for (const char *arguments : {"", "--out /dev/null/mail", "--out . --port 70000"}) {
        QProcess process;
        process.start(QStringLiteral(MAILCATCHER),
                      QProcess::splitCommand(QString::fromLatin1(arguments)));
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(process.readAllStandardError().startsWith("quillbright-mailcatcher: "));
    }
}

QTEST_GUILESS_MAIN(TestMailCatcher)
#include "tst_mailcatcher.moc"
