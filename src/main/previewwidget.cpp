#include "previewwidget.h"

#include "clock.h"
#include "operator.h"
#include "programfolder.h"
#include "ui_previewwidget.h"

#include <QApplication>
#include <QToolBar>

PreviewWidget::PreviewWidget(const ProgramFolder &folder, Operator &op, const Clock &clock,
                             const HtmlViewFactory &makeView, const BodyView::Names &names,
                             QWidget *parent)
    : QWidget(parent)
    , m_operator(op)
    , m_clock(clock)
    , m_ui(std::make_unique<Ui::PreviewWidget>())
    , m_body(new BodyView(folder.file(QStringLiteral("psource.htm")), makeView, names, this))
{
    m_ui->setupUi(this);
    m_fields = {m_ui->txtFields0, m_ui->txtFields1, m_ui->txtFields2, m_ui->txtFields3,
                m_ui->txtFields4, m_ui->txtFields5, m_ui->txtFields6};
    m_ui->verticalLayout->addWidget(m_body, 1);
    connect(m_ui->cmdFirst, &QPushButton::clicked, this, &PreviewWidget::first);
    connect(m_ui->cmdPrevious, &QPushButton::clicked, this, &PreviewWidget::previous);
    connect(m_ui->cmdNext, &QPushButton::clicked, this, &PreviewWidget::next);
    connect(m_ui->cmdLast, &QPushButton::clicked, this, &PreviewWidget::last);
}

PreviewWidget::~PreviewWidget() = default;

void PreviewWidget::addBesideButtons(QWidget *widget)
{
    m_ui->navigation->insertWidget(0, widget);
}

void PreviewWidget::addToolbar(const std::function<void()> &preview)
{
    auto *bar = new QToolBar(this);
    bar->setObjectName(QStringLiteral("Toolbar2"));
    const auto add = [&](const char *key, const char *icon, const QString &tip, auto slot) {
        QAction *action = bar->addAction(QIcon::fromTheme(QLatin1String(icon)), tip);
        action->setObjectName(QLatin1String(key));
        connect(action, &QAction::triggered, this, slot);
    };
    add("Preview", "document-preview", tr("Preview in its own window"), preview);
    bar->addSeparator();
    add("First", "go-first", tr("First Record"), &PreviewWidget::first);
    add("Prior", "go-previous", tr("Prior Record"), &PreviewWidget::previous);
    add("Next", "go-next", tr("Next Record"), &PreviewWidget::next);
    add("Last", "go-last", tr("Last Record"), &PreviewWidget::last);
    addBesideButtons(bar);
}

void PreviewWidget::Load_prev_db(const QString &listConnectionString, const QString &format,
                                 const QString &body)
{
    m_format = format;
    QString failure;
    try {
        m_preview.load(listConnectionString, body);
    } catch (const StorageError &e) {
        failure = e.description();
    }
    // Without the list the message is shown all the same, for nobody.
    attempt([] {});
    if (!failure.isEmpty())
        m_operator.tell(failure);
}

void PreviewWidget::first()
{
    attempt([this] { m_preview.first(); });
}

void PreviewWidget::previous()
{
    attempt([this] {
        if (!m_preview.previous())
            QApplication::beep();
    });
}

void PreviewWidget::next()
{
    attempt([this] {
        if (!m_preview.next())
            QApplication::beep();
    });
}

void PreviewWidget::last()
{
    attempt([this] { m_preview.last(); });
}

template <typename Step>
void PreviewWidget::attempt(Step step)
{
    try {
        step();
        showRecipient();
    } catch (const StorageError &e) {
        m_operator.tell(e.description());
    }
}

void PreviewWidget::showRecipient()
{
    for (size_t i = 0; i < m_fields.size(); ++i) {
        m_fields[i]->setText(m_preview.fields()[i]);
        m_fields[i]->setCursorPosition(0);
    }
    emit positionChanged(m_preview.position(), m_preview.count());
    m_body->showBody(m_format, m_preview.body(m_clock.now()));
}
