#include "settingsstore.h"
#include "testfiles.h"
#include "testfolder.h"
#include "unsubscribelist.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

/// The store of a program that has a folder and an account's settings of its own.
struct Program {
    TestFolder folder;
    QString settings = folder.file("config/Quillbright/Quillbright.conf");
    QString unsubscribed = folder.file("ulist.txt");
    SettingsStore store{folder.folder()};
};

class TestSettings final : public QObject
{
    Q_OBJECT

private slots:
    void keepsEveryValueToItself()
    {
        const Program program;
        QCOMPARE(program.store.load(), Settings());
        QVERIFY(!QFile::exists(program.settings));
        Settings settings;
        settings.smtpServer = u"smtp://[::1]:2525"_s;
        settings.operatorAddress = u"me@example.org, you@example.org"_s;
        settings.account = u"Jürgen \"the\" \\admin"_s;
        settings.validateAddresses = true;
        settings.unsubscribed = u"göne@example.org\r\n"_s;
        for (const char *password :
             {"p,a;s=s #%@[1] \t\"'", "\"q;r\"", "a\\\\b", "@@x", " x ", ""}) {
            settings.password = QString::fromUtf8(password);
            settings.requireLogon = !settings.requireLogon;
            program.store.save(settings);
            QCOMPARE(program.store.load(), settings);
            QVERIFY(readFile(program.settings).contains("\nPassword="_ba + password + '\n'));
        }
        QCOMPARE(readFile(program.unsubscribed), "göne@example.org\r\n\r\n");
        settings.operatorAddress = u"me\nLogin=1"_s;
        settings.requireLogon = false;
        program.store.save(settings);
        QVERIFY(!program.store.load().requireLogon);

        // The file is private whoever made it, and reading says when it was not.
        constexpr auto others = QFileDevice::ReadGroup | QFileDevice::ReadOther;
        QVERIFY(!(QFile::permissions(program.settings) & others));
        QFile::setPermissions(program.settings, QFile::permissions(program.settings) | others);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"could be read by others"_s));
        QCOMPARE(program.store.load().account, settings.account);
        QVERIFY(!(QFile::permissions(program.settings) & others));
    }

    void readsLinesAsTheyStand()
    {
        const struct {
            const char *lines, *password;
        } rows[] = {
            {"Password=s3cr;t", "s3cr;t"}, // as a person writes
            {"Password=a\\b", "a\\b"},
            {"Password=\"q\"", "\"q\""},
            {"Password=a,b=c", "a,b=c"},
            {"Password = \"x\r", "\"x"},
            {"Password=\"s3cr;t\"", "s3cr;t"}, // as the program once wrote
            {"Password=a\\\\b", "a\\b"},
            {"Password=\\\"q\\\"", "\"q\""},
            {"Password=\"\\\"a\\\\,b\\\"\"", "\"a\\,b\""},
            {"Password=\" x \"", " x "},
            {"Password=@@x", "@x"},
            {"\xff\xfe\x1[[[", ""},
        };
        const Program program;
        for (const auto &row : rows) {
            writeFile(program.settings, "[General]\nLogin=true\n"_ba + row.lines + "\nSMTP=m:25\n");
            QFile::setPermissions(program.settings, QFile::ReadOwner | QFile::WriteOwner);
            const Settings settings = program.store.load();
            QCOMPARE(settings.password, QString::fromUtf8(row.password));
            QCOMPARE(settings.smtpServer, u"m:25"_s);
            QVERIFY(!settings.requireLogon);
        }
    }

    void loadsUnsubscribeLines()
    {
        const Program program;
        QCOMPARE(program.store.load().unsubscribed, QString());
        writeFile(program.unsubscribed, "\ufeffa@x.org\r\n\r\n   \r\n b@x.org \nm\xfcller@x.org\n"
                                        "müller@y.org");
        QCOMPARE(program.store.load().unsubscribed,
                 u"a@x.org\r\n b@x.org \r\nmüller@x.org\r\nmüller@y.org\r\n"_s);
    }

    void matchesWholeLines()
    {
        const UnsubscribeList list(u"gone@example.org\r\nJÜRGEN@example.org"_s);
        for (const char *address : {"  Gone@EXAMPLE.org ", "jürgen@example.org"})
            QVERIFY2(list.contains(QString::fromUtf8(address)), address);
        for (const char *address : {"one@example.org", "gone@example.org.uk", ""})
            QVERIFY2(!list.contains(QString::fromUtf8(address)), address);
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
