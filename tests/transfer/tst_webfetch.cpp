// Fetching from a real server on the loopback address, good and bad.

#include "curlwebfetch.h"

#include "fakes.h"
#include "httpserver.h"
#include "testcertificates.h"

#include <QProcess>
#include <QTest>

#include <limits>

namespace
{

constexpr qsizetype megabyte = 1024 * 1024;
constexpr qint64 endless = std::numeric_limits<qint64>::max();

QByteArray gzipped(const QByteArray &data)
{
    QProcess gzip;
    gzip.start(QStringLiteral("gzip"), {QStringLiteral("-c")});
    gzip.write(data);
    gzip.closeWriteChannel();
    gzip.waitForFinished();
    return gzip.readAllStandardOutput();
}

HttpAnswer page(const QByteArray &body, const QByteArray &headers = "Content-Type: text/html\r\n")
{
    return {"HTTP/1.1 200 OK\r\n" + headers + "\r\n", body};
}

HttpAnswer redirect(const QByteArray &to)
{
    return {"HTTP/1.1 302 Found\r\nLocation: " + to + "\r\n\r\n", "elsewhere"};
}

HttpAnswer large(const QByteArray &headers, qint64 times)
{
    return {"HTTP/1.1 200 OK\r\n" + headers + "\r\n", QByteArray(64 * 1024, 'x'), times};
}

QHash<QByteArray, HttpAnswer> answers()
{
    const QByteArray zipped = gzipped("<p>packed</p>");
    QByteArray broken = zipped;
    broken[14] = char(~broken[14]);
    const QByteArray gzip = "Content-Encoding: gzip\r\n";
    HttpAnswer silent = page({});
    silent.head.clear();
    silent.stalls = true;
    HttpAnswer stalling = page("<p>beg");
    stalling.stalls = true;
    return {
        {"/page", page("<p>\xC3\xA9</p>", "Content-Type: text/html; charset=utf-8\r\n")},
        {"/empty", page("")},
        {"/no/content/type", page("\xE9", "")},
        {"/zipped", page(zipped, gzip)},
        {"/broken", page(broken, gzip)},
        {"/cutoff", page(zipped.chopped(9), gzip)},
        {"/otherform", page(zipped, "Content-Encoding: br\r\n")},
        {"/twice", page(zipped + zipped + "\n", gzip)},
        {"/notzipped", page("<p>plain</p>", gzip)},
        {"/bomb", page(gzipped(QByteArray(17 * megabyte, ' ')), gzip)},
        {"/here", redirect("/dir/there")},
        {"/dir/there", redirect("../page")},
        {"/circle", redirect("/circle2")},
        {"/circle2", redirect("/circle")},
        {"/tofile", redirect("file:///etc/passwd")},
        {"/toftp", redirect("ftp://127.0.0.1/x")},
        {"/nowhere", {"HTTP/1.1 302 Found\r\n\r\n"}},
        {"/full", large("", 256)},
        {"/announced", large("Content-Length: 1073741824\r\n", 16 * 1024)},
        {"/endless", large("", endless)},
        {"/liar", large("Content-Length: 10\r\n", 1)},
        {"/short", page("<p>", "Content-Length: 1000\r\n")},
        {"/headers", {"HTTP/1.1 200 OK\r\n", "X-Filler: on and on and on and on\r\n", endless}},
        {"/silent", silent},
        {"/stalling", stalling},
        {"/garbage", {"220 mail.example.org ESMTP\r\n"}},
        {"/error", {"HTTP/1.1 503 Service Unavailable\r\n\r\n", "<p>Sorry</p>"}},
    };
}

} // namespace

class TestWebFetch final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void fetches_data();
    void fetches();
    void fails_data();
    void fails();
    void refusesAddresses_data();
    void refusesAddresses();
    void asksForNothingElse();
    void trustsKnownCertificatesOnly();
    void keepsTimeLimits_data();
    void keepsTimeLimits();
    void windowEventsRunAndCanAbort();

private:
    HttpServer m_server{answers()};
    CountingYield m_yield;
    CurlWebFetch m_fetch{m_yield};
};

void TestWebFetch::initTestCase()
{
    qputenv("no_proxy", "*");
}

void TestWebFetch::fetches_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("from");
    const auto row = [](const char *path, const QString &text, const char *from) {
        QTest::newRow(path) << QString::fromLatin1(path) << text << QString::fromLatin1(from);
    };
    row("/page", QStringLiteral("<p>é</p>"), "/page");
    row("/page#part", QStringLiteral("<p>é</p>"), "/page");
    row("/empty", {}, "/empty");
    row("/no/content/type", QStringLiteral("é"), "/no/content/type");
    row("/zipped", QStringLiteral("<p>packed</p>"), "/zipped");
    row("/twice", QStringLiteral("<p>packed</p><p>packed</p>"), "/twice");
    row("/here", QStringLiteral("<p>é</p>"), "/page");
    row("/full", QString(16 * megabyte, QLatin1Char('x')), "/full");
    row("/liar", QString(10, QLatin1Char('x')), "/liar");
}

void TestWebFetch::fetches()
{
    QFETCH(QString, path);
    QFETCH(QString, text);
    QFETCH(QString, from);
    const WebDocument document = m_fetch.fetch(m_server.address(path));
    QCOMPARE(document.failure, QString());
    QVERIFY(document.text == text); // too long to be shown
    QCOMPARE(document.address, m_server.address(from));
    // The scheme need not be typed, and blanks around it do no harm.
    QVERIFY(m_fetch.fetch(QStringLiteral(" %1 ").arg(m_server.address(path).mid(7))).text == text);
}

void TestWebFetch::fails_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("failure");
    const auto row = [](const char *path, const char *failure) {
        QTest::newRow(path) << QString::fromLatin1(path) << QString::fromLatin1(failure);
    };
    row("/missing", "127.0.0.1 answered: 404 Not Found.");
    row("/error", "127.0.0.1 answered: 503 Service Unavailable.");
    row("/nowhere", "127.0.0.1 answered: 302 Found.");
    row("/circle", "127.0.0.1 leads from one address to the next without end.");
    const char *offTheWeb =
        "The address leads to another one that is not on the web, which is not followed.";
    row("/tofile", offTheWeb);
    row("/toftp", offTheWeb);
    const char *tooLarge = "The document is larger than 16 MB.";
    row("/announced", tooLarge);
    row("/endless", tooLarge);
    row("/bomb", tooLarge);
    for (const char *path : {"/broken", "/cutoff", "/otherform", "/notzipped"})
        row(path, "The document of 127.0.0.1 arrived damaged: it cannot be decompressed.");
    row("/short", "127.0.0.1 closed the connection before the whole document had arrived.");
    row("/headers", "The document could not be fetched from 127.0.0.1: Too large response headers");
    row("/garbage", "127.0.0.1 does not answer like a web server.");
}

void TestWebFetch::fails()
{
    QFETCH(QString, path);
    const WebDocument document = m_fetch.fetch(m_server.address(path));
    QFETCH(QString, failure);
    QVERIFY2(document.failure.startsWith(failure), qPrintable(document.failure));
    QCOMPARE(document.text, QString());
    QTRY_COMPARE(m_server.connections(), 0); // what never ends was ended
}

void TestWebFetch::refusesAddresses_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("failure");
    const auto row = [](const char *address, const char *failure) {
        QTest::newRow(address) << QString::fromLatin1(address) << QString::fromLatin1(failure);
    };
    const char *empty =
        "Please enter the address of a web page, such as https://example.org/news.html.";
    row("", empty);
    row("  ", empty);
    for (const char *address : {"file:///etc/passwd", "file:/etc/passwd", "/etc/passwd",
                                "ftp://127.0.0.1/x", "javascript:alert(1)", "C:\\news.html"})
        QTest::newRow(address) << QString::fromLatin1(address)
                               << QStringLiteral("Only addresses that begin with http:// or "
                                                 "https:// can be imported, and %1 does not.")
                                      .arg(QLatin1String(address));
    row("http://", "http:// is not the address of a web page.");
    row("http://127.0.0.1:99999/", "http://127.0.0.1:99999/ is not the address of a web page.");
    row("not a page", "not a page is not the address of a web page.");
    row("http://no-such-name.invalid/x",
        "The web server no-such-name.invalid was not found: no address is known for this name.");
    row("https://127.0.0.1:1/",
        "Nothing answers at 127.0.0.1 on port 1: the connection was refused.");
}

void TestWebFetch::refusesAddresses()
{
    QFETCH(QString, address);
    QTEST(m_fetch.fetch(address).failure, "failure");
}

void TestWebFetch::asksForNothingElse()
{
    HttpServer server({{"/p", page("<img src=/i.png><link rel=stylesheet href=/s.css>")}});
    m_fetch.fetch(server.address(QStringLiteral("/p")));
    QCOMPARE(server.requests().size(), 1);
    QVERIFY(server.requests().first().startsWith("GET /p HTTP/1.1\r\n"));
    QVERIFY(server.requests().first().contains("\r\nAccept-Encoding: gzip\r\n"));
}

void TestWebFetch::trustsKnownCertificatesOnly()
{
    const TestCertificates certificates;
    QProcess server;
    server.start(QStringLiteral("openssl"),
                 {QStringLiteral("s_server"), QStringLiteral("-www"), QStringLiteral("-accept"),
                  QStringLiteral("127.0.0.1:0"), QStringLiteral("-cert"),
                  certificates.serverCertificate(), QStringLiteral("-key"),
                  certificates.serverKey()});
    QByteArray said;
    QTRY_VERIFY((said += server.readAllStandardOutput()).contains("\nACCEPT 127.0.0.1:"));
    const QString address = QStringLiteral("https://127.0.0.1:%1/")
                                .arg(said.mid(said.lastIndexOf(':') + 1).trimmed().toInt());
    QVERIFY(m_fetch.fetch(address).failure.startsWith(
        QStringLiteral("The certificate of 127.0.0.1 cannot be trusted: ")));
    qputenv("SSL_CERT_FILE", certificates.caFile().toLocal8Bit());
    const WebDocument document = m_fetch.fetch(address);
    qunsetenv("SSL_CERT_FILE");
    QCOMPARE(document.failure, QString());
    QVERIFY(document.text.contains(QStringLiteral("<HTML>")));
    server.kill();
    server.waitForFinished();
}

void TestWebFetch::keepsTimeLimits_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("no answer") << QStringLiteral("/silent");
    QTest::newRow("half an answer") << QStringLiteral("/stalling");
}

void TestWebFetch::keepsTimeLimits()
{
    QFETCH(QString, path);
    CurlWebFetch fetch(m_yield, {.total = std::chrono::milliseconds(200)});
    QCOMPARE(fetch.fetch(m_server.address(path)).failure,
             QStringLiteral("127.0.0.1 did not send the whole document within 1 seconds."));
}

void TestWebFetch::windowEventsRunAndCanAbort()
{
    CountingYield yield;
    CurlWebFetch fetch(yield);
    yield.actAt = 3;
    yield.action = [&fetch] { fetch.abort(); };
    QCOMPARE(fetch.fetch(m_server.address(QStringLiteral("/silent"))).failure,
             QStringLiteral("The import was stopped."));
    QCOMPARE(yield.count, 3);
    QTRY_COMPARE(m_server.connections(), 0);
    // The next fetch is not the stopped one.
    QCOMPARE(fetch.fetch(m_server.address(QStringLiteral("/empty"))).failure, QString());
}

QTEST_GUILESS_MAIN(TestWebFetch)
#include "tst_webfetch.moc"
