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

namespace
{

bool hasColour(WebHtmlView &view, const QColor &colour)
{
    const QImage image = view.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const auto *pixels = reinterpret_cast<const QRgb *>(image.constBits());
    return std::count(pixels, pixels + image.width() * image.height(), colour.rgb()) > 0;
}

const QColor blue(0, 0, 255);
const QByteArray block = "<a style='display:block;height:100px;background:#00f' ";

} // namespace

/// Pages try to become red, by themselves or with what they fetch; data: pictures are green.
class TestWebHtmlView final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        writeFile(m_folder.filePath(QStringLiteral("other.htm")), "<body style='background:#f00'>");
        QImage red(8, 8, QImage::Format_RGB32);
        red.fill(Qt::red);
        QVERIFY(red.save(m_folder.filePath(QStringLiteral("red.png"))));
        QVERIFY(m_server.listen(QHostAddress::LocalHost));
        connect(&m_server, &QTcpServer::newConnection, this, [this] { ++m_connections; });
        for (const char *scheme : {"http", "https", "mailto", "file"})
            QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "noteUrl");
    }

    void drawsOnlyThePage()
    {
        const std::pair<const char *, const char *> rows[] = {
            {"<p style='background:#f00'>x", "#ff0000"}, // control: red is seen
            {"<script>document.body.style.background='#f00'</script>", "#0000ff"},
            {"<img src='red.png' width=90 height=90>", "#0000ff"},
            {"<meta http-equiv=refresh content='0;url=other.htm'>", "#0000ff"},
            {"<img src='http://127.0.0.1:%PORT/red.png'>", "#0000ff"},
            {"<meta http-equiv=refresh content='0;url=http://127.0.0.1:%PORT/'>", "#0000ff"},
            {"<img width=90 height=90 src=\"data:image/svg+xml,<svg xmlns='http://www.w3.org/2000/"
             "svg' viewBox='0 0 9 9'><rect width='9' height='9' fill='lime'/></svg>\">",
             "#00ff00"}};
        for (const auto &[body, colour] : rows) {
            const QByteArray port = QByteArray::number(m_server.serverPort());
            const auto view = shown(block + ">x</a>" + QByteArray(body).replace("%PORT", port));
            QTRY_VERIFY2(hasColour(*view, QLatin1String(colour)), body);
            // A second page proves that the first had its time: what it began has come to an end.
            QSignalSpy finished(view.get(), &WebHtmlView::finished);
            view->showFile(m_path);
            QVERIFY(finished.wait(60000));
            QTRY_VERIFY2(hasColour(*view, blue), body);
            QCOMPARE(hasColour(*view, QColor(255, 0, 0)), QByteArray(colour) == "#ff0000");
            QVERIFY2(m_connections == 0 && m_opened.isEmpty(), body);
        }
    }

    /// Whatever the page says, its encoding is the program's.
    void opensLinksOutside()
    {
        const std::pair<const char *, const char *> rows[] = {
            {"href='https://example.org/é' target=_blank", "https://example.org/é"},
            {"href='mailto:a@example.org'", "mailto:a@example.org"},
            {"href='other.htm' target=_blank", ""}};
        for (const auto &[link, opened] : rows) {
            // A second link tells when a click that does nothing is over.
            const auto view =
                shown("\xef\xbb\xbf<meta charset=windows-1252><body style='margin:0'>" + block +
                      link + ">1</a>" + block + "href='http://b/'>2</a>");
            QTRY_VERIFY(hasColour(*view, blue));
            QWidget *inside = view->findChild<QWebEngineView *>()->focusProxy();
            for (const int y : {50, 150})
                QTest::mouseClick(inside, Qt::LeftButton, {}, QPoint(150, y));
            QTRY_VERIFY(m_opened.contains(QStringLiteral("http://b/")));
            if (*opened)
                QTRY_VERIFY2(m_opened.contains(QString::fromUtf8(opened)), link);
            QCOMPARE(m_opened.size(), *opened ? 2 : 1);
            QCOMPARE(view->findChild<QWebEngineView *>()->url(), QUrl::fromLocalFile(m_path));
            m_opened.clear();
        }
    }

public slots:
    void noteUrl(const QUrl &url) { m_opened += url.toString(); }

private:
    /// A view that has read this page; it starts when it is on screen, and not before.
    std::unique_ptr<WebHtmlView> shown(const QByteArray &page)
    {
        auto view = std::make_unique<WebHtmlView>();
        QSignalSpy finished(view.get(), &WebHtmlView::finished);
        view->resize(300, 300);
        view->showFile(writeFile(m_path, page));
        const bool isEarly = view->findChild<QWebEngineView *>();
        view->show();
        if (isEarly || !finished.wait(60000))
            QTest::qFail("The engine came too early, or never", __FILE__, __LINE__);
        return view;
    }

    QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath(QStringLiteral("page.htm"));
    QTcpServer m_server;
    int m_connections = 0;
    QStringList m_opened;
};

QTEST_MAIN(TestWebHtmlView)
#include "tst_webhtmlview.moc"
