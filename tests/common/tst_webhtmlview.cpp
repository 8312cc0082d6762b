#include "testfiles.h"
#include "webhtmlview.h"

#include <QApplication>
#include <QDesktopServices>
#include <QImage>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QWebEngineView>

/// Pages try to become red, by themselves or with what they fetch; data: pictures are green.
class TestWebHtmlView final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void drawsOnlyThePage_data();
    void drawsOnlyThePage();
    void startsWhenShown();
    void opensLinksOutside_data();
    void opensLinksOutside();

public slots:
    void noteUrl(const QUrl &url) { m_opened += url.toString(); }

private:
    QString write(const QString &name, const QByteArray &text) const
    {
        return writeFile(m_folder.filePath(name), text);
    }

    QTemporaryDir m_folder;
    QTcpServer m_server;
    int m_connections = 0;
    QStringList m_opened;
};

namespace
{

void showAndWait(WebHtmlView &view, const QString &path)
{
    QSignalSpy finished(&view, &WebHtmlView::finished);
    view.showFile(path);
    QVERIFY(finished.wait(60000));
}

bool hasColour(WebHtmlView &view, const QColor &colour)
{
    const QImage image = view.grab().toImage();
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2) {
            if (image.pixelColor(x, y) == colour)
                return true;
        }
    }
    return false;
}

const QStringList schemes = {QStringLiteral("http"), QStringLiteral("https"),
                             QStringLiteral("mailto"), QStringLiteral("file")};
const QColor blue(0, 0, 255);
const QByteArray blueBlock = "<div style='background:#00f;width:40px;height:40px'></div>";

} // namespace

void TestWebHtmlView::initTestCase()
{
    write(QStringLiteral("other.htm"), "<body style='background:#f00'></body>");
    QImage red(8, 8, QImage::Format_RGB32);
    red.fill(Qt::red);
    QVERIFY(red.save(m_folder.filePath(QStringLiteral("red.png"))));
    QVERIFY(m_server.listen(QHostAddress::LocalHost));
    connect(&m_server, &QTcpServer::newConnection, this, [this] { ++m_connections; });
    for (const QString &scheme : schemes)
        QDesktopServices::setUrlHandler(scheme, this, "noteUrl");
}

void TestWebHtmlView::cleanupTestCase()
{
    for (const QString &scheme : schemes)
        QDesktopServices::unsetUrlHandler(scheme);
}

void TestWebHtmlView::drawsOnlyThePage_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("colour"); // that the page must show, beside the blue block
    const auto row = [](const char *name, const char *body, const char *colour = "") {
        QTest::newRow(name) << QByteArray(body) << QString::fromLatin1(colour);
    };
    row("control: red is seen", "<p style='background:#f00'>x", "#ff0000");
    row("script", "<script>document.body.style.background='#f00'</script>");
    row("event handler", "<img src='data:,' onerror=\"document.body.style.background='#f00'\">");
    row("picture beside it", "<img src='red.png' width=90 height=90>");
    row("refresh", "<meta http-equiv=refresh content='0;url=other.htm'>");
    row("remote picture", "<img src='http://127.0.0.1:%PORT/red.png'>");
    row("remote refresh", "<meta http-equiv=refresh content='0;url=http://127.0.0.1:%PORT/'>");
    row("picture inside",
        "<img width=90 height=90 src=\"data:image/svg+xml,<svg "
        "xmlns='http://www.w3.org/2000/svg' viewBox='0 0 9 9'>"
        "<rect width='9' height='9' fill='lime'/></svg>\">",
        "#00ff00");
}

void TestWebHtmlView::drawsOnlyThePage()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, colour);
    m_connections = 0;
    body.replace("%PORT", QByteArray::number(m_server.serverPort()));
    WebHtmlView view;
    view.resize(300, 300);
    view.show();
    showAndWait(view, write(QStringLiteral("page.htm"), "<body>" + blueBlock + body + "</body>"));
    QTRY_VERIFY(hasColour(view, blue));
    if (!colour.isEmpty())
        QTRY_VERIFY(hasColour(view, QColor(colour)));
    // A second page proves that the first had its time: what it began has come to an end.
    showAndWait(view, m_folder.filePath(QStringLiteral("page.htm")));
    QTRY_VERIFY(hasColour(view, blue));
    QCOMPARE(hasColour(view, QColor(255, 0, 0)), colour == QLatin1String("#ff0000"));
    QCOMPARE(m_connections, 0);
    QVERIFY(m_opened.isEmpty());
}

void TestWebHtmlView::startsWhenShown()
{
    WebHtmlView view;
    // The file's encoding is the program's, whatever the page says.
    view.showFile(write(QStringLiteral("page.htm"),
                        "\xef\xbb\xbf<meta charset=windows-1252><title>Chlo\xc3\xa9</title>"));
    QVERIFY(!view.findChild<QWebEngineView *>());
    QSignalSpy finished(&view, &WebHtmlView::finished);
    view.show();
    QVERIFY(!view.findChild<QWebEngineView *>());
    QVERIFY(finished.wait(60000));
    QTRY_COMPARE(view.findChild<QWebEngineView *>()->title(), QStringLiteral("Chloé"));
}

void TestWebHtmlView::opensLinksOutside_data()
{
    QTest::addColumn<QByteArray>("link");
    QTest::addColumn<QStringList>("opened");
    const auto row = [](const char *name, const char *link, const QStringList &opened) {
        QTest::newRow(name) << QByteArray(link) << opened;
    };
    row("web", "href='https://example.org/'", {QStringLiteral("https://example.org/")});
    row("new window", "href='https://example.org/' target=_blank",
        {QStringLiteral("https://example.org/")});
    row("mail", "href='mailto:a@example.org'", {QStringLiteral("mailto:a@example.org")});
    row("file", "href='other.htm'", {});
    row("file in a new window", "href='other.htm' target=_blank", {});
}

void TestWebHtmlView::opensLinksOutside()
{
    QFETCH(QByteArray, link);
    QFETCH(QStringList, opened);
    m_opened.clear();
    WebHtmlView view;
    view.resize(300, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    // The link to click lies over the page; a second one, to the web, tells when a click that does
    // nothing is over.
    const QByteArray block = "style='display:block;height:100px;background:#00f' ";
    const QString path = write(QStringLiteral("links.htm"),
                               "<body style='margin:0'><a " + block + link + ">1</a><a " + block +
                                   "href='https://example.net/'>2</a>");
    showAndWait(view, path);
    QTRY_VERIFY(hasColour(view, blue));
    QWidget *inside = view.findChild<QWebEngineView *>()->focusProxy();
    QVERIFY(inside);
    QTest::mouseClick(inside, Qt::LeftButton, {}, QPoint(150, 50));
    QTest::mouseClick(inside, Qt::LeftButton, {}, QPoint(150, 150));
    // Mail takes a longer way through the engine.
    QTRY_COMPARE(m_opened.size(), opened.size() + 1);
    QVERIFY(m_opened.removeOne(QStringLiteral("https://example.net/")));
    QCOMPARE(m_opened, opened);
    QCOMPARE(view.findChild<QWebEngineView *>()->url(), QUrl::fromLocalFile(path));
    m_opened.clear();
}

QTEST_MAIN(TestWebHtmlView)
#include "tst_webhtmlview.moc"
