#include "bodyfile.h"
#include "storageerror.h"
#include "testfiles.h"

#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class TestBodyFile final : public QObject
{
    Q_OBJECT

    const QTemporaryDir m_directory;

private slots:
    void readsLines()
    {
        const std::pair<QByteArray, QString> files[] = {
            {"", {}},
            {"a\r\nb\nc\rd\r\r\n\n", u"a\r\nb\r\nc\r\nd\r\n\r\n\r\n"_s},
            {"\xef\xbb\xbf\xc3\xa4", u"ä\r\n"_s},
            {{"\xff\xfe\xe4\0\r\0\n\0\x3d\xd8\x80\xde", 12}, u"ä\r\n\U0001f680\r\n"_s},
        };
        for (const auto &[content, body] : files)
            QCOMPARE(readBodyFile(writeFile(m_directory.filePath(u"body"_s), content)), body);
    }

    /// Nor waits for one that never comes.
    void refusesWhatIsNoFile()
    {
        const QString pipe = m_directory.filePath(u"pipe"_s);
        QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        const QString large = writeFile(m_directory.filePath(u"large"_s));
        QVERIFY(QFile::resize(large, 16 * 1024 * 1024 + 1));
        for (const QString &path : {m_directory.path(), u"/missing"_s, pipe, large})
            QVERIFY_EXCEPTION_THROWN(readBodyFile(path), StorageError);
    }
};

QTEST_GUILESS_MAIN(TestBodyFile)
#include "tst_bodyfile.moc"
