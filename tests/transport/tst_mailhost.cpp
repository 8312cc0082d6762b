#include "mailhost.h"

#include <QTest>

class TestMailHost : public QObject
{
    Q_OBJECT

private slots:
    void reads_data();
    void reads();
    void refuses();
};

void TestMailHost::reads_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("url");
    QTest::addColumn<bool>("loopback");
    const auto row = [](const char *text, const char *url, bool loopback = false) {
        QTest::newRow(text) << QString::fromUtf8(text) << QByteArray(url) << loopback;
    };
    row("mail.example.org", "smtp://mail.example.org:25");
    row(" mail_1.example.org:587 ", "smtp://mail_1.example.org:587");
    row("SMTP://mail.example.org", "smtp://mail.example.org:25");
    row("smtps://mail.example.org", "smtps://mail.example.org:465");
    row("smtps://mail.example.org:4650", "smtps://mail.example.org:4650");
    row("m\xc3\xbcnchen.example", "smtp://xn--mnchen-3ya.example:25");
    row("[2001:db8::1]", "smtp://[2001:db8::1]:25");
    row("[::1]:2525", "smtp://[::1]:2525", true);
    row("127.8.9.10", "smtp://127.8.9.10:25", true);
    row("LocalHost:2525", "smtp://localhost:2525", true);
    row("128.0.0.1", "smtp://128.0.0.1:25");
    row("127.1", "smtp://127.1:25");
    row("localhost.example.org", "smtp://localhost.example.org:25");
    row("mail.localhost", "smtp://mail.localhost:25");
}

void TestMailHost::reads()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, url);
    QFETCH(bool, loopback);
    MailHost host;
    QCOMPARE(readMailHost(text, host), QString());
    QCOMPARE(host.url(), url);
    QCOMPARE(host.loopback, loopback);
}

void TestMailHost::refuses()
{
    const char *misread = "is not a host name with an optional port";
    std::vector<std::pair<const char *, const char *>> rows = {
        {"", "No SMTP server is given"},
        {"user:secret@mail.example.org", "without user name and password"},
        {"mail:0", "from 1 to 65535"},
        {"mail:65536", "from 1 to 65535"},
        {"2001:db8::1", "needs brackets"}};
    for (const char *text : {"mail.example.org/path", "mail example.org", "mail:", "mail:25:26",
                             "mail:2x", "http://mail.example.org", "mail.example.org?x", "[::1",
                             "[::1]25", "[mail.example.org]", "mail\r\nQUIT", "..", "a..b"})
        rows.emplace_back(text, misread);
    for (const auto &[text, words] : rows) {
        MailHost host;
        const QString fault = readMailHost(QString::fromUtf8(text), host);
        QVERIFY2(fault.contains(QLatin1String(words)), text);
        QVERIFY2(!fault.contains(QLatin1String("secret")) && !fault.contains(u'\n'), text);
    }
}

QTEST_GUILESS_MAIN(TestMailHost)
#include "tst_mailhost.moc"
