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
        Settings settings;
        settings.smtpServer = "smtp://[::1]:2525";
        settings.operatorAddress = "me@example.org, you@example.org";
        settings.account = "Jürgen \"the\" \\admin";
        settings.validateAddresses = true;
        settings.limits = {30, 500, 2000};
        settings.rerunWaitMinutes = 15;
        settings.unsubscribed = "göne@example.org\r\n";
        for (const char *password :
             {"p,a;s=s #%@[1] \t\"'", "\"q;r\"", "a\\\\b", "@@x", " x ", ""}) {
            settings.password = password;
            settings.requireLogon = !settings.requireLogon;
            program.store.save(settings);
            QCOMPARE(program.store.load(), settings);
            QVERIFY(readFile(program.settings).contains("\nPassword="_ba + password + '\n'));
        }
        QCOMPARE(readFile(program.unsubscribed), "göne@example.org\r\n\r\n");
        settings.operatorAddress = "me\nLogin=1";
        settings.requireLogon = false;
        program.store.save(settings);
        QVERIFY(!program.store.load().requireLogon);

        // The file is private whoever made it, and reading says when it was not.
        constexpr auto others = QFileDevice::ReadGroup | QFileDevice::ReadOther;
        QVERIFY(!(QFile::permissions(program.settings) & others));
        QFile::setPermissions(program.settings, QFile::permissions(program.settings) | others);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("could be read by others"));
        QCOMPARE(program.store.load().account, settings.account);
        QVERIFY(!(QFile::permissions(program.settings) & others));
    }

    void readsLinesAsTheyStand()
    {
        // Three as a person writes them, and those that the program once wrote.
        const std::pair<const char *, const char *> rows[] = {{"=a,b=c", "a,b=c"},
                                                              {"=a\\b", "a\\b"},
                                                              {"=\"q\"", "\"q\""},
                                                              {" = \"x\r", "\"x"},
                                                              {"=\"s3cr;t\"", "s3cr;t"},
                                                              {"=a\\\\b", "a\\b"},
                                                              {"=\"\\\"a\\\\,b\\\"\"", "\"a\\,b\""},
                                                              {"=\" x \"", " x "},
                                                              {"=@@x", "@x"},
                                                              {"\xff\xfe\x1[[[", ""}};
        const Program program;
        for (const auto &[line, password] : rows) {
            writeFile(program.settings, "Login=true\nLimitMinute=30x\nLimitHour=-1\n"
                                        "LimitDay=99999999999\nRerunWait = 5\nPassword"_ba +
                                            line + "\nSMTP=m:25\n");
            QFile::setPermissions(program.settings, QFile::ReadOwner | QFile::WriteOwner);
            const Settings settings = program.store.load();
            QCOMPARE(settings.password, password);
            QCOMPARE(settings.smtpServer, "m:25");
            QVERIFY(!settings.requireLogon);
            QCOMPARE(settings.limits, (SendLimits{0, 0, mostMessages}));
            QCOMPARE(settings.rerunWaitMinutes, 5);
        }
    }

    void readsTheUnsubscribed()
    {
        const Program program;
        writeFile(program.unsubscribed, "\ufeffa@x.org\r\n\r\n   \r\n b@x.org \nm\xfcller@x.org\n"
                                        "müller@y.org");
        QCOMPARE(program.store.load().unsubscribed,
                 "a@x.org\r\n b@x.org \r\nmüller@x.org\r\nmüller@y.org\r\n");
        const UnsubscribeList list(program.store.load().unsubscribed);
        for (const char *address : {"  A@X.org ", "MÜLLER@x.org"})
            QVERIFY2(list.contains(address), address);
        for (const char *address : {"x.org", "a@x.org.uk"})
            QVERIFY2(!list.contains(address), address);
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
