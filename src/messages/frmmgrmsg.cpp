#include "frmmgrmsg.h"

#include "ui_frmmgrmsg.h"

#include "messagestore.h"
#include "operator.h"
#include "storageerror.h"

namespace
{

enum Column { Subject, MailId, SenderName };

std::vector<ListColumn> messageColumns()
{
    using Window = frmMgrMsg;
    constexpr int numberWidth = 67;
    // Room for the numbers and a scroll bar is taken from the last column.
    constexpr int taken = -93;
    return {{Window::tr("Subject"), 2. / 3},
            {Window::tr("Mail ID"), 0, SortKind::Number, Qt::AlignRight, numberWidth},
            {Window::tr("Sender Name"), 1. / 3, SortKind::Text, Qt::AlignLeft, taken}};
}

ListRow listRow(const MessageHead &message)
{
    return {message.number, {message.subject, QString::number(message.number), message.senderName}};
}

} // namespace

frmMgrMsg::frmMgrMsg(const ProgramFolder &folder, Operator &op, MessageCommands commands,
                     QWidget *parent)
    : CatalogueWindow(parent)
    , m_folder(folder)
    , m_op(op)
    , m_commands(std::move(commands))
    , m_ui(std::make_unique<Ui::frmMgrMsg>())
{
    m_ui->setupUi(this);
    setUp({m_ui->ListView1, m_ui->combType, m_ui->txtSearch, m_ui->cmdSearch, m_ui->Toolbar1,
           m_ui->Delete},
          messageColumns(), MailId, QIcon::fromTheme(QStringLiteral("mail-message")));
    connectCommands();
}

frmMgrMsg::~frmMgrMsg() = default;

void frmMgrMsg::connectCommands()
{
    connect(m_ui->New, &QAction::triggered, this, [this] { selectingNew(m_commands.create); });
    connect(m_ui->Copy, &QAction::triggered, this, &frmMgrMsg::duplicate);
    connect(m_ui->Properties, &QAction::triggered, this, &frmMgrMsg::edit);
    connect(m_ui->MAILLIST, &QAction::triggered, this, [this] {
        withSelected([this](const ListRow &row) { m_commands.sendTest(row.number); });
    });
    connect(m_ui->Search, &QAction::triggered, this, [this] {
        withSelected([this](const ListRow &row) { m_commands.findJobs(row.number); });
    });
}

void frmMgrMsg::list_refresh()
{
    SortableList *list = m_ui->ListView1;
    const auto field =
        m_ui->combType->currentIndex() == 0 ? MessageField::Subject : MessageField::SenderName;
    const QString text = m_ui->txtSearch->text();
    try {
        std::vector<ListRow> rows;
        for (const MessageHead &message : findMessages(m_folder, field, text))
            rows.push_back(listRow(message));
        list->setRows(std::move(rows));
        list->setEmptyText(text.isEmpty()
                               ? tr("There are no messages yet. \"New\" writes the first one.")
                               : tr("No message matches the search. Empty its text to see all "
                                    "messages."));
    } catch (const StorageError &) {
        list->setRows({});
        list->setEmptyText(tr("The messages could not be read."));
    }
}

void frmMgrMsg::duplicate()
{
    withSelected([this](const ListRow &row) {
        selectingNew([&] {
            try {
                duplicateMessage(m_folder, row.number);
                return true;
            } catch (const StorageError &) {
                return false; // no copy in the list tells it
            }
        });
    });
}

void frmMgrMsg::edit()
{
    withSelected([this](const ListRow &row) {
        const QString caption =
            tr("Edit Email [ %1-%2 ]").arg(QString::number(row.number), row.cells[Subject]);
        if (!m_commands.edit(row.number, caption))
            return;
        try {
            showEdited(listRow(messageHead(m_folder, row.number)));
        } catch (const StorageError &e) {
            m_op.tell(e.report(), tr("Error"));
        }
    });
}

void frmMgrMsg::deleteSelected()
{
    withSelected([this](const ListRow &row) {
        if (!m_op.ask(tr("Delete : %1").arg(row.cells[Subject]), tr("Delete ")))
            return;
        try {
            if (deleteMessage(m_folder, row.number, m_commands.isInUse))
                removeDeleted(row.number);
            else
                m_op.tell(tr("You cannot delete this email, becase it is being used in other "
                             "jobs !"),
                          tr("Email Manager"));
        } catch (const StorageError &e) {
            m_op.tell(e.report(), tr("Error"));
        }
    });
}
