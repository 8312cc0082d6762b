#include "maillistpanel.h"

#include "operator.h"
#include "storageerror.h"
#include "ui_maillistpanel.h"

MaillistPanel::MaillistPanel(Operator &op, QWidget *parent)
    : QWidget(parent)
    , m_operator(op)
    , m_ui(std::make_unique<Ui::fmMaillist>())
{
    m_ui->setupUi(this);
    m_ui->DataGrid1->setEmptyListText(
        tr("This list has no recipients yet. “Edit Maillist” adds some."));
    m_ui->combSearch->addItem(tr("-- Search By --"));
    m_ui->combSearch->addItems(RecipientQuery::fieldNames());
    m_ui->combSort->addItem(tr("- Sort By --"));
    m_ui->combSort->addItems(RecipientQuery::fieldNames());
    connect(m_ui->cmdRefList, &QToolButton::clicked, this, &MaillistPanel::refreshRequested);
    connect(m_ui->txtSEmail, &QLineEdit::returnPressed, m_ui->cmdRefList, &QToolButton::click);
    connect(m_ui->cmdBrowse, &QPushButton::clicked, this, &MaillistPanel::editRequested);
    connect(m_ui->cmdCopy, &QPushButton::clicked, this, &MaillistPanel::exportRequested);
    connect(&m_ui->DataGrid1->recipients(), &RecipientModel::failed, this,
            [this](const QString &description) { m_operator.tell(description); });
    for (QPushButton *button : {m_ui->cmdBrowse, m_ui->cmdCopy}) {
        auto *action = new QAction(button->icon(), button->text(), this);
        connect(action, &QAction::triggered, button, &QPushButton::click);
        m_ui->DataGrid1->addAction(action);
    }
    m_ui->DataGrid1->setContextMenuPolicy(Qt::ActionsContextMenu);
    QSizePolicy policy = m_ui->DataGrid1->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    m_ui->DataGrid1->setSizePolicy(policy);
}

MaillistPanel::~MaillistPanel() = default;

void MaillistPanel::Load_db(const QString &listConnectionString)
{
    m_shown = {};
    m_ui->DataGrid1->setVisible(!listConnectionString.isEmpty());
    if (listConnectionString.isEmpty())
        return;
    const RecipientQuery query{.searchField = m_ui->combSearch->currentIndex(),
                               .searchText = m_ui->txtSEmail->text(),
                               .sortField = m_ui->combSort->currentIndex()};
    try {
        m_ui->DataGrid1->load(listConnectionString, query);
        m_shown = {listConnectionString, query};
    } catch (const StorageError &e) {
        m_operator.tell(e.description());
    }
}

void MaillistPanel::resetSearch()
{
    m_ui->combSort->setCurrentIndex(0);
    m_ui->combSearch->setCurrentIndex(0);
    m_ui->txtSEmail->clear();
}

void MaillistPanel::enableCommands(bool enabled)
{
    m_ui->cmdBrowse->setEnabled(enabled);
    m_ui->cmdCopy->setEnabled(enabled);
    for (QAction *action : m_ui->DataGrid1->actions())
        action->setEnabled(enabled);
}
