#include "bodyview.h"

#include "scratchpage.h"

#include <QPlainTextEdit>
#include <QStackedLayout>

BodyView::BodyView(const QString &scratchFile, const HtmlViewFactory &makeView, const Names &names,
                   QWidget *parent)
    : QWidget(parent)
    , m_scratchFile(scratchFile)
    , m_layout(new QStackedLayout(this))
    , m_text(new QPlainTextEdit(this))
    , m_browser(makeView(this))
{
    m_text->setObjectName(names.text);
    m_text->setReadOnly(true);
    m_text->setTabChangesFocus(true);
    m_text->setAccessibleName(tr("Email body"));
    m_layout->addWidget(m_text);
    m_browser->setObjectName(names.browser);
    m_browser->setAccessibleName(tr("Email body"));
    m_layout->addWidget(m_browser);
}

void BodyView::showBody(const QString &format, const QString &body)
{
    if (format == QLatin1String("HTML")) {
        // What was shown before is not this body, should the page not come about.
        m_text->clear();
        m_layout->setCurrentWidget(m_text);
        writeScratchPage(m_scratchFile, body);
        showPage(m_scratchFile);
    } else {
        m_text->setPlainText(body);
        m_layout->setCurrentWidget(m_text);
    }
}

void BodyView::showPage(const QString &path)
{
    m_layout->setCurrentWidget(m_browser);
    m_browser->showFile(path);
}
