#include "settingsstore.h"
#include "testfolder.h"
#include "unsubscribelist.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

class TestSettings final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void firstStartIsEmpty();
    void keepsEveryValue();
    void fileIsPrivate();
    void readsHandWrittenFile_data();
    void readsHandWrittenFile();
    void loadsUnsubscribeLines_data();
    void loadsUnsubscribeLines();
    void matchesWholeLines_data();
    void matchesWholeLines();

private:
    QString configFile() const
    {
        return m_config->filePath(QStringLiteral("Quillbright/Quillbright.conf"));
    }
    void write(const QString &path, const QByteArray &content) const;

    std::unique_ptr<QTemporaryDir> m_config;
    std::unique_ptr<TestFolder> m_folder;
};

void TestSettings::init()
{
    m_config = std::make_unique<QTemporaryDir>();
    m_folder = std::make_unique<TestFolder>();
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config->path());
}

void TestSettings::cleanup()
{
    m_folder.reset();
    m_config.reset();
}

void TestSettings::write(const QString &path, const QByteArray &content) const
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

void TestSettings::firstStartIsEmpty()
{
    QCOMPARE(SettingsStore(m_folder->folder()).load(), Settings());
    QVERIFY(!QFile::exists(configFile()));
}

void TestSettings::keepsEveryValue()
{
    const SettingsStore store(m_folder->folder());
    Settings settings;
    settings.smtpServer = QStringLiteral("smtp://[::1]:2525");
    settings.operatorAddress = QStringLiteral("me@example.org, you@example.org");
    settings.account = QStringLiteral("Jürgen \"the\" \\admin");
    settings.password = QStringLiteral("p,a;s=s #%@[1] \t\"'");
    settings.requireLogon = true;
    settings.validateAddresses = true;
    settings.unsubscribed = QStringLiteral("g\u00f6ne@example.org\r\n");
    store.save(settings);
    QCOMPARE(store.load(), settings);

    // The names in the file are part of what a person may edit.
    QFile file(configFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    for (const char *line : {"[General]", "SMTP=", "Operator=", "Username=", "Password=", "Login=1",
                             "Log=0", "ValidateEmail=1"})
        QVERIFY2(text.contains(line), line);
    QFile unsubscribed(m_folder->file(QStringLiteral("ulist.txt")));
    QVERIFY(unsubscribed.open(QIODevice::ReadOnly));
    QCOMPARE(unsubscribed.readAll(), QByteArray("g\xc3\xb6ne@example.org\r\n\r\n"));
}

void TestSettings::fileIsPrivate()
{
    constexpr auto others = QFileDevice::ReadGroup | QFileDevice::WriteGroup |
                            QFileDevice::ReadOther | QFileDevice::WriteOther;
    const SettingsStore store(m_folder->folder());
    store.save({});
    QVERIFY(!(QFile::permissions(configFile()) & others));
    QFile::setPermissions(configFile(), QFile::permissions(configFile()) | others);
    store.save({});
    QVERIFY(!(QFile::permissions(configFile()) & others));
}

void TestSettings::readsHandWrittenFile_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("server");
    QTest::addColumn<bool>("login");
    QTest::newRow("plain") << QByteArray("SMTP=mail.example.org:587") << "mail.example.org:587"
                           << false;
    QTest::newRow("comma") << QByteArray("SMTP=a,b") << "a,b" << false;
    QTest::newRow("login on") << QByteArray("Login=1") << "" << true;
    QTest::newRow("login true is not 1") << QByteArray("Login=true") << "" << false;
    QTest::newRow("garbage") << QByteArray("\xff\xfe\x00[[[", 6) << "" << false;
    QTest::newRow("zero ends") << QByteArray("SMTP=mail\\0junk") << "mail" << false;
}

void TestSettings::readsHandWrittenFile()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, server);
    QFETCH(bool, login);
    write(configFile(), "[General]\n" + line + '\n');
    const Settings settings = SettingsStore(m_folder->folder()).load();
    QCOMPARE(settings.smtpServer, server);
    QCOMPARE(settings.requireLogon, login);
}

void TestSettings::loadsUnsubscribeLines_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("text");
    QTest::newRow("crlf") << QByteArray("a@x.org\r\nb@x.org\r\n\r\n") << "a@x.org\r\nb@x.org\r\n";
    QTest::newRow("lf, no end") << QByteArray("a@x.org\nb@x.org") << "a@x.org\r\nb@x.org\r\n";
    QTest::newRow("blank lines go, blanks stay")
        << QByteArray("\r\n   \r\n a@x.org \r\n") << " a@x.org \r\n";
    QTest::newRow("byte-order mark") << QByteArray("\xef\xbb\xbf"
                                                   "a@x.org\n")
                                     << "a@x.org\r\n";
    QTest::newRow("one line in an old encoding")
        << QByteArray("m\xfcller@x.org\nm\xc3\xbcller@y.org\n")
        << QStringLiteral("müller@x.org\r\nmüller@y.org\r\n");
    QTest::newRow("empty") << QByteArray() << "";
}

void TestSettings::loadsUnsubscribeLines()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, text);
    write(m_folder->file(QStringLiteral("ulist.txt")), file);
    QCOMPARE(loadUnsubscribeList(m_folder->folder()), text);
}

void TestSettings::matchesWholeLines_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("isIn");
    QTest::newRow("same") << "gone@example.org" << true;
    QTest::newRow("case") << "Gone@EXAMPLE.org" << true;
    QTest::newRow("blanks around the address") << "  gone@example.org " << true;
    QTest::newRow("part of a line") << "one@example.org" << false;
    QTest::newRow("longer") << "gone@example.org.uk" << false;
    QTest::newRow("line with a trailing blank") << "blank@example.org" << false;
    QTest::newRow("last line without a break") << "last@example.org" << true;
    QTest::newRow("non-ASCII case") << QStringLiteral("JÜRGEN@example.org") << true;
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
