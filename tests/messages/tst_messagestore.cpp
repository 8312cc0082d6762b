#include "bodyfile.h"
#include "connection.h"
#include "messagestore.h"
#include "storageerror.h"
#include "testfolder.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

class TestMessageStore final : public QObject
{
    Q_OBJECT

private slots:
    void storesEveryField();
    void storesBodies_data();
    void storesBodies();
    void readsBodyFiles_data();
    void readsBodyFiles();
    void refusesWhatIsNoFile();

private:
    static JobMessage loaded(const TestFolder &folder, qint64 msgid)
    {
        Connection system(folder.folder().systemConnectionString());
        return loadMessage(system, msgid);
    }
};

namespace
{

JobMessage sampleMessage()
{
    return {.subject = QStringLiteral("Bob's '%1' news"),
            .senderName = QStringLiteral("O'Brien"),
            .senderAddress = QStringLiteral("o'brien@example.org"),
            .replyAddress = QStringLiteral("no 'reply'"),
            .format = QStringLiteral("TEXT"),
            .attachments = {QStringLiteral("/tmp/a'1"), QString(), QStringLiteral("C:\\%2.txt")},
            .body = QStringLiteral("It's '%%FIRSTNAME%%'\r\n")};
}

} // namespace

void TestMessageStore::storesEveryField()
{
    const TestFolder folder;
    JobMessage message = sampleMessage();
    const qint64 number = insertMessage(folder.folder(), message);
    folder.execute(QStringLiteral("update mmsg set encode='e', priority='p'"));
    const auto same = [&] {
        const JobMessage stored = loaded(folder, number);
        QCOMPARE(stored.subject, message.subject);
        QCOMPARE(stored.senderName, message.senderName);
        QCOMPARE(stored.senderAddress, message.senderAddress);
        QCOMPARE(stored.replyAddress, message.replyAddress);
        QCOMPARE(stored.format, message.format);
        QVERIFY(stored.attachments == message.attachments);
        QCOMPARE(stored.body, message.body);
    };
    same();

    message = {.subject = QStringLiteral("x"),
               .senderName = {},
               .senderAddress = QStringLiteral("'"),
               .replyAddress = {},
               .format = QStringLiteral("text"),
               .attachments = {QString(), QStringLiteral("'"), QString()},
               .body = {}};
    updateMessage(folder.folder(), number, message);
    message.format = QStringLiteral("HTML");
    same();
    QCOMPARE(folder.rows(QStringLiteral("select encode, priority, senderName from mmsg")),
             QStringList{QStringLiteral("e|p|")});
}

void TestMessageStore::storesBodies_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("10 MB") << QString(10 * 1024 * 1024, QLatin1Char('\''));
    QTest::newRow("100,000 lines") << QStringLiteral("a line\r\n").repeated(100000);
    QTest::newRow("right to left and emoji")
        << QStringLiteral("\u0627\u0644\u0633\u0644\u0627\u0645 \u202bx\u202c \U0001f469\u200d"
                          "\U0001f680\u00a0\u2028");
}

void TestMessageStore::storesBodies()
{
    QFETCH(QString, body);
    const TestFolder folder;
    JobMessage message = sampleMessage();
    message.body = body;
    QVERIFY(loaded(folder, insertMessage(folder.folder(), message)).body == body);
}

void TestMessageStore::readsBodyFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("body");

    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("every line end")
        << QByteArray("a\r\nb\nc\rd\r\r\n\n") << QStringLiteral("a\r\nb\r\nc\r\nd\r\n\r\n\r\n");
    QTest::newRow("last line without one") << QByteArray("a\nb") << QStringLiteral("a\r\nb\r\n");
    QTest::newRow("UTF-8 with mark")
        << QByteArray("\xef\xbb\xbf\xc3\xa4") << QStringLiteral("\u00e4\r\n");
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe\xe4\0\r\0\n\0\x3d\xd8\x80\xde", 12)
                            << QStringLiteral("\u00e4\r\n\U0001f680\r\n");
    QTest::newRow("UTF-16, big end first")
        << QByteArray("\xfe\xff\0\xe4\0\n", 6) << QStringLiteral("\u00e4\r\n");
    QTest::newRow("Windows-1252") << QByteArray("\x80\xe4") << QStringLiteral("\u20ac\u00e4\r\n");
}

void TestMessageStore::readsBodyFiles()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("body.txt"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();
    QTEST(readBodyFile(path), "body");
}

void TestMessageStore::refusesWhatIsNoFile()
{
    const QTemporaryDir directory;
    const QString missing = directory.filePath(QStringLiteral("missing"));
    const QString pipe = directory.filePath(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString large = directory.filePath(QStringLiteral("large"));
    QFile sparse(large);
    QVERIFY(sparse.open(QIODevice::WriteOnly) && sparse.resize(16 * 1024 * 1024 + 1));
    for (const QString &path : {directory.path(), missing, pipe, large}) {
        try {
            readBodyFile(path);
            QFAIL(qPrintable(path));
        } catch (const StorageError &e) {
            QVERIFY2(e.description().startsWith(QStringLiteral("Cannot read ") + path),
                     qPrintable(e.description()));
        }
    }
}

QTEST_GUILESS_MAIN(TestMessageStore)
#include "tst_messagestore.moc"
