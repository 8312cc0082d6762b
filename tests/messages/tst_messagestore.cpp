#include "bodyfile.h"
#include "connection.h"
#include "messagestore.h"
#include "storageerror.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class TestMessageStore final : public QObject
{
    Q_OBJECT

private slots:
    void storesBodies_data();
    void storesBodies();
    void readsBodyFiles_data();
    void readsBodyFiles();
    void refusesWhatIsNoFile();
};

/// What the window does with the other fields is in its own test.
void TestMessageStore::storesBodies_data()
{
    QTest::addColumn<QString>("body");
    QTest::newRow("10 MB") << QString(10 * 1024 * 1024, u'\'');
    QTest::newRow("100,000 lines") << u"a line\r\n"_s.repeated(100000);
    QTest::newRow("right to left and emoji")
        << u"\u0627\u0644\u0633\u0644\u0627\u0645 \u202bx\u202c \U0001f469\u200d"
           "\U0001f680\u00a0\u2028"_s;
    QTest::newRow("a NUL") << QString(u"a\0b"_s);
}

void TestMessageStore::storesBodies()
{
    QFETCH(QString, body);
    const TestFolder folder;
    JobMessage message;
    message.body = body;
    const qint64 number = insertMessage(folder.folder(), message);
    Connection system(folder.folder().systemConnectionString());
    const QString stored = loadMessage(system, number).body;
    body.remove(QChar::Null); // it alone is left out
    QCOMPARE(stored.size(), body.size());
    QVERIFY(stored == body);
}

void TestMessageStore::readsBodyFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("body");

    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("every line end")
        << QByteArray("a\r\nb\nc\rd\r\r\n\n") << u"a\r\nb\r\nc\r\nd\r\n\r\n\r\n"_s;
    QTest::newRow("last line without one") << QByteArray("a\nb") << u"a\r\nb\r\n"_s;
    QTest::newRow("UTF-8 with mark") << QByteArray("\xef\xbb\xbf\xc3\xa4") << u"\u00e4\r\n"_s;
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe\xe4\0\r\0\n\0\x3d\xd8\x80\xde", 12)
                            << u"\u00e4\r\n\U0001f680\r\n"_s;
    QTest::newRow("UTF-16, big end first")
        << QByteArray("\xfe\xff\0\xe4\0\n", 6) << u"\u00e4\r\n"_s;
    QTest::newRow("Windows-1252") << QByteArray("\x80\xe4") << u"\u20ac\u00e4\r\n"_s;
}

void TestMessageStore::readsBodyFiles()
{
    QFETCH(QByteArray, content);
    const QTemporaryDir directory;
    const QString path = writeFile(directory.filePath(u"body.txt"_s), content);
    QTEST(readBodyFile(path), "body");
}

void TestMessageStore::refusesWhatIsNoFile()
{
    const QTemporaryDir directory;
    const QString missing = directory.filePath(u"missing"_s);
    const QString pipe = directory.filePath(u"pipe"_s);
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const QString large = directory.filePath(u"large"_s);
    QFile sparse(large);
    QVERIFY(sparse.open(QIODevice::WriteOnly) && sparse.resize(16 * 1024 * 1024 + 1));
    for (const QString &path : {directory.path(), missing, pipe, large}) {
        try {
            readBodyFile(path);
            QFAIL(qPrintable(path));
        } catch (const StorageError &e) {
            QVERIFY2(e.description().startsWith(u"Cannot read "_s + path),
                     qPrintable(e.description()));
        }
    }
}

QTEST_GUILESS_MAIN(TestMessageStore)
#include "tst_messagestore.moc"
