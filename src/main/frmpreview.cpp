#include "frmpreview.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QVBoxLayout>

frmPreview::frmPreview(const ProgramFolder &folder, Operator &op, const Clock &clock,
                       const HtmlViewFactory &makeView, QWidget *parent)
    : QDialog(parent)
    , m_preview(new PreviewWidget(folder, op, clock, makeView,
                                  {QStringLiteral("txtSource"), QStringLiteral("WebBrowser1")},
                                  this))
    , m_status(new QLabel(this))
{
    setObjectName(QStringLiteral("frmPreview"));
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    resize(840, 640);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_preview);
    m_status->setObjectName(QStringLiteral("lblStatus"));
    m_preview->addBesideButtons(m_status);
    connect(m_preview, &PreviewWidget::positionChanged, m_status,
            [this](qsizetype position) { m_status->setText(tr("Record: %1").arg(position)); });
    setSubject({});
}

void frmPreview::Load_db(const QString &listConnectionString, const QString &format,
                         const QString &body)
{
    m_preview->Load_prev_db(listConnectionString, format, body);
}

void frmPreview::setSubject(const QString &subject)
{
    setWindowTitle(tr("Preview [ Subject : %1 ]").arg(subject));
}

void frmPreview::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    // The keys move between recipients wherever the focus is, also inside the browser, which
    // passes none of them on.
    qApp->installEventFilter(this);
}

void frmPreview::hideEvent(QHideEvent *event)
{
    qApp->removeEventFilter(this);
    while (!event->spontaneous() && QGuiApplication::overrideCursor())
        QGuiApplication::restoreOverrideCursor();
    QDialog::hideEvent(event);
}

bool frmPreview::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress) {
        const auto *widget = qobject_cast<QWidget *>(watched);
        if (widget && widget->window() == this && handle(*static_cast<QKeyEvent *>(event)))
            return true;
    }
    return QDialog::eventFilter(watched, event);
}

bool frmPreview::handle(const QKeyEvent &key)
{
    if (key.key() == Qt::Key_Escape) {
        reject();
        return true;
    }
    const std::optional<RecordMove> move = recordMove(key);
    if (move)
        m_preview->move(*move);
    return move.has_value();
}
