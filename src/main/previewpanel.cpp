#include "previewpanel.h"

#include <QToolBar>
#include <QVBoxLayout>

PreviewPanel::PreviewPanel(const ProgramFolder &folder, Operator &op, const Clock &clock,
                           const HtmlViewFactory &makeView, QWidget *parent)
    : QWidget(parent)
    , m_preview(new PreviewWidget(folder, op, clock, makeView,
                                  {QStringLiteral("Text1"), QStringLiteral("WebBrowser2")}, this))
{
    setObjectName(QStringLiteral("fmPreview"));
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_preview);
    connect(m_preview, &PreviewWidget::positionChanged, this, &PreviewPanel::positionChanged);

    auto *bar = new QToolBar(this);
    bar->setObjectName(QStringLiteral("Toolbar2"));
    const auto add = [&](const QString &key, const QString &icon, const QString &tip,
                         const auto *receiver, auto slot) {
        QAction *action = bar->addAction(QIcon::fromTheme(icon), tip, receiver, slot);
        action->setObjectName(key);
        action->setToolTip(tip);
    };
    add(QStringLiteral("Preview"), QStringLiteral("document-preview"),
        tr("Preview in its own window"), this, &PreviewPanel::previewRequested);
    bar->addSeparator();
    add(QStringLiteral("First"), QStringLiteral("go-first"), tr("First Record"), m_preview,
        &PreviewWidget::first);
    add(QStringLiteral("Prior"), QStringLiteral("go-previous"), tr("Prior Record"), m_preview,
        &PreviewWidget::previous);
    add(QStringLiteral("Next"), QStringLiteral("go-next"), tr("Next Record"), m_preview,
        &PreviewWidget::next);
    add(QStringLiteral("Last"), QStringLiteral("go-last"), tr("Last Record"), m_preview,
        &PreviewWidget::last);
    m_preview->addBesideButtons(bar);
}

void PreviewPanel::Load_prev_db(const QString &listConnectionString, const QString &format,
                                const QString &body)
{
    m_preview->load(listConnectionString, format, body);
}

void PreviewPanel::enablePreview(bool enabled)
{
    findChild<QAction *>(QStringLiteral("Preview"))->setEnabled(enabled);
}
