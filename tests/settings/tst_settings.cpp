#include "settingsstore.h"
#include "testfiles.h"
#include "testfolder.h"
#include "unsubscribelist.h"

#include <QFile>
#include <QTest>

namespace
{

/// The store of a program that has a folder and an account's settings of its own.
struct Program {
    TestFolder folder;
    QString settings = folder.file("config/Quillbright/Quillbright.conf");
    QString unsubscribed = folder.file("ulist.txt");
    SettingsStore store{folder.folder()};
};

} // namespace

class TestSettings final : public QObject
{
    Q_OBJECT

private slots:
    void keepsEveryValue();
    void fileIsPrivate();
    void readsHandWrittenFile_data();
    void readsHandWrittenFile();
    void loadsUnsubscribeLines_data();
    void loadsUnsubscribeLines();
    void matchesWholeLines_data();
    void matchesWholeLines();
};

void TestSettings::keepsEveryValue()
{
    const Program program;
    QCOMPARE(program.store.load(), Settings());
    QVERIFY(!QFile::exists(program.settings));
    Settings settings;
    settings.smtpServer = QStringLiteral("smtp://[::1]:2525");
    settings.operatorAddress = QStringLiteral("me@example.org, you@example.org");
    settings.account = QStringLiteral("Jürgen \"the\" \\admin");
    settings.password = QStringLiteral("p,a;s=s #%@[1] \t\"'");
    settings.requireLogon = true;
    settings.validateAddresses = true;
    settings.unsubscribed = QStringLiteral("g\u00f6ne@example.org\r\n");
    program.store.save(settings);
    QCOMPARE(program.store.load(), settings);
    // The names in the file are part of what a person may edit.
    const QByteArray text = readFile(program.settings);
    for (const char *line : {"[General]", "SMTP=", "Operator=", "Username=", "Password=", "Login=1",
                             "Log=0", "ValidateEmail=1"})
        QVERIFY2(text.contains(line), line);
    QCOMPARE(readFile(program.unsubscribed), QByteArray("g\xc3\xb6ne@example.org\r\n\r\n"));
}

void TestSettings::fileIsPrivate()
{
    constexpr auto others = QFileDevice::ReadGroup | QFileDevice::WriteGroup |
                            QFileDevice::ReadOther | QFileDevice::WriteOther;
    const Program program;
    program.store.save({});
    QVERIFY(!(QFile::permissions(program.settings) & others));
    QFile::setPermissions(program.settings, QFile::permissions(program.settings) | others);
    program.store.save({});
    QVERIFY(!(QFile::permissions(program.settings) & others));
}

void TestSettings::readsHandWrittenFile_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("server");
    QTest::addColumn<bool>("login");
    const auto row = [](const char *name, const QByteArray &line, const char *server, bool login) {
        QTest::newRow(name) << line << QString::fromLatin1(server) << login;
    };
    row("plain", "SMTP=mail.example.org:587", "mail.example.org:587", false);
    row("comma", "SMTP=a,b", "a,b", false);
    row("login on", "Login=1", "", true);
    row("login true is not 1", "Login=true", "", false);
    row("garbage", QByteArray("\xff\xfe\x00[[[", 6), "", false);
    row("zero ends", "SMTP=mail\\0junk", "mail", false);
}

void TestSettings::readsHandWrittenFile()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, server);
    QFETCH(bool, login);
    const Program program;
    writeFile(program.settings, "[General]\n" + line + '\n');
    const Settings settings = program.store.load();
    QCOMPARE(settings.smtpServer, server);
    QCOMPARE(settings.requireLogon, login);
}

void TestSettings::loadsUnsubscribeLines_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *file, const char *text) {
        QTest::newRow(name) << QByteArray(file) << QString::fromUtf8(text);
    };
    row("crlf", "a@x.org\r\nb@x.org\r\n\r\n", "a@x.org\r\nb@x.org\r\n");
    row("lf, no end", "a@x.org\nb@x.org", "a@x.org\r\nb@x.org\r\n");
    row("blank lines go, blanks stay", "\r\n   \r\n a@x.org \r\n", " a@x.org \r\n");
    row("byte-order mark", "\ufeffa@x.org\n", "a@x.org\r\n");
    row("one line in an old encoding", "m\xfcller@x.org\nmüller@y.org\n",
        "müller@x.org\r\nmüller@y.org\r\n");
    row("empty", "", "");
}

void TestSettings::loadsUnsubscribeLines()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, text);
    const Program program;
    writeFile(program.unsubscribed, file);
    QCOMPARE(program.store.load().unsubscribed, text);
}

void TestSettings::matchesWholeLines_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("isIn");
    const auto row = [](const char *name, const char *address, bool isIn) {
        QTest::newRow(name) << QString::fromUtf8(address) << isIn;
    };
    row("case and blanks", "  Gone@EXAMPLE.org ", true);
    row("part of a line", "one@example.org", false);
    row("longer", "gone@example.org.uk", false);
    row("last line without a break", "last@example.org", true);
    row("non-ASCII case", "JÜRGEN@example.org", true);
}

void TestSettings::matchesWholeLines()
{
    QFETCH(QString, address);
    QFETCH(bool, isIn);
    const UnsubscribeList list(
        QStringLiteral("gone@example.org\r\nblank@example.org \r\njürgen@example.org\r\n"
                       "LAST@example.org"));
    QCOMPARE(list.contains(address), isIn);
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
