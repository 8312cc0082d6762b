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
    const auto moves = [this](QPushButton *button, RecordMove to) {
        connect(button, &QPushButton::clicked, this, [this, to] { move(to); });
    };
    moves(m_ui->cmdFirst, RecordMove::First);
    moves(m_ui->cmdPrevious, RecordMove::Previous);
    moves(m_ui->cmdNext, RecordMove::Next);
    moves(m_ui->cmdLast, RecordMove::Last);
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
    add("First", "go-first", tr("First Record"), [this] { move(RecordMove::First); });
    add("Prior", "go-previous", tr("Prior Record"), [this] { move(RecordMove::Previous); });
    add("Next", "go-next", tr("Next Record"), [this] { move(RecordMove::Next); });
    add("Last", "go-last", tr("Last Record"), [this] { move(RecordMove::Last); });
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

void PreviewWidget::move(RecordMove to)
{
    attempt([this, to] {
        bool isMoved = true;
        switch (to) {
        case RecordMove::First:
            m_preview.first();
            break;
        case RecordMove::Previous:
            isMoved = m_preview.previous();
            break;
        case RecordMove::Next:
            isMoved = m_preview.next();
            break;
        case RecordMove::Last:
            m_preview.last();
            break;
        }
        if (!isMoved)
            QApplication::beep();
    });
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
