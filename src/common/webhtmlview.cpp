#include "webhtmlview.h"

#include <QDesktopServices>
#include <QOpenGLContext>
#include <QOpenGLWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEngineNewWindowRequest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineView>

namespace
{

bool isSameDocument(const QUrl &one, const QUrl &other)
{
    return one.adjusted(QUrl::RemoveFragment) == other.adjusted(QUrl::RemoveFragment);
}

/// Lets through the page's own file and what is written inside it.
class OnlyTheFile final : public QWebEngineUrlRequestInterceptor
{
public:
    OnlyTheFile(const QUrl &file, QObject *parent)
        : QWebEngineUrlRequestInterceptor(parent)
        , m_file(file)
    {
    }

    void interceptRequest(QWebEngineUrlRequestInfo &request) override
    {
        const QUrl url = request.requestUrl();
        const bool isPage =
            request.resourceType() == QWebEngineUrlRequestInfo::ResourceTypeMainFrame &&
            isSameDocument(url, m_file);
        request.block(!isPage && url.scheme() != QLatin1String("data"));
    }

private:
    const QUrl &m_file;
};

class Page final : public QWebEnginePage
{
public:
    Page(QWebEngineProfile *profile, const QUrl &file)
        : QWebEnginePage(profile)
        , m_file(file)
    {
        setUrlRequestInterceptor(new OnlyTheFile(file, this));
        connect(this, &QWebEnginePage::newWindowRequested, this,
                [](const QWebEngineNewWindowRequest &request) {
                    if (request.isUserInitiated())
                        openLink(request.requestedUrl());
                });
    }

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override
    {
        if (isMainFrame && isSameDocument(url, m_file))
            return true;
        if (type == NavigationTypeLinkClicked)
            openLink(url);
        return false;
    }

private:
    const QUrl &m_file;
};

/// How the engine draws where it can. Where it cannot, it ends the program unless it was told
/// before to draw by itself.
bool drawsWithOpenGl()
{
    static const bool draws = QOpenGLContext().create() || !qputenv("QT_QUICK_BACKEND", "software");
    return draws;
}

void restrict(QWebEngineSettings *settings)
{
    for (const auto attribute :
         {QWebEngineSettings::JavascriptEnabled, QWebEngineSettings::PluginsEnabled,
          QWebEngineSettings::LocalContentCanAccessFileUrls,
          QWebEngineSettings::LocalContentCanAccessRemoteUrls,
          QWebEngineSettings::AutoLoadIconsForPage, QWebEngineSettings::ErrorPageEnabled,
          QWebEngineSettings::FocusOnNavigationEnabled, QWebEngineSettings::DnsPrefetchEnabled})
        settings->setAttribute(attribute, false);
}

} // namespace

WebHtmlView::WebHtmlView(QWidget *parent)
    : HtmlView(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    setFocusPolicy(Qt::StrongFocus);
    // A window that shows the engine's picture is of another kind than others. Made for it from the
    // start, it need not be replaced on screen, which would put it below the windows around it.
    if (drawsWithOpenGl())
        (new QOpenGLWidget(this))->setVisible(false);
}

WebHtmlView::~WebHtmlView() = default;

void WebHtmlView::showFile(const QString &path)
{
    m_url = QUrl::fromLocalFile(path);
    if (m_view)
        m_page->load(m_url);
    else if (isVisible())
        startEngine();
}

void WebHtmlView::showEvent(QShowEvent *event)
{
    HtmlView::showEvent(event);
    // The window is to be on screen before the engine takes its moment.
    if (!m_view)
        QTimer::singleShot(0, this, &WebHtmlView::startEngine);
}

void WebHtmlView::startEngine()
{
    if (m_view || m_url.isEmpty() || !isVisible())
        return;
    m_profile = std::make_unique<QWebEngineProfile>(); // keeps nothing on disk
    restrict(m_profile->settings());
    m_page = std::make_unique<Page>(m_profile.get(), m_url);
    m_view = std::make_unique<QWebEngineView>(this);
    m_view->setPage(m_page.get());
    m_view->setContextMenuPolicy(Qt::NoContextMenu);
    m_view->setAcceptDrops(false);
    m_view->setAccessibleName(accessibleName());
    connect(m_view.get(), &QWebEngineView::loadFinished, this, &WebHtmlView::finished);
    layout()->addWidget(m_view.get());
    setFocusProxy(m_view.get());
    m_page->load(m_url);
}
