#include "texthtmlview.h"

#include <QFile>
#include <QTextBrowser>
#include <QVBoxLayout>

/// Fetches nothing: whatever a page asks for is not there.
class TextHtmlView::Browser final : public QTextBrowser
{
public:
    using QTextBrowser::QTextBrowser;
    QVariant loadResource(int, const QUrl &) override { return {}; }
};

TextHtmlView::TextHtmlView(QWidget *parent)
    : HtmlView(parent)
    , m_browser(new Browser(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_browser);
    m_browser->setOpenLinks(false);
    connect(m_browser, &QTextBrowser::anchorClicked, this, &openLink);
}

void TextHtmlView::showFile(const QString &path)
{
    QFile file(path);
    m_browser->setHtml(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll())
                                                      : QString());
}
