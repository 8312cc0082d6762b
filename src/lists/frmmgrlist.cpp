#include "frmmgrlist.h"

#include "listdialogs.h"
#include "ui_frmmgrlist.h"

#include "operator.h"
#include "storageerror.h"
#include "waitpointer.h"

namespace
{

enum Column { Name, ListId, Type, CreateTime, Count };

std::vector<ListColumn> listColumns()
{
    using Window = frmMgrList;
    return {{Window::tr("List Name"), 2. / 5},
            {Window::tr("List ID"), 3. / 20, SortKind::Number, Qt::AlignRight},
            {Window::tr("Type"), 3. / 20},
            {Window::tr("Create Time"), 3. / 20, SortKind::Text, Qt::AlignRight},
            {Window::tr("Count"), 1. / 10, SortKind::Number, Qt::AlignRight}};
}

ListRow listRow(const MailList &list)
{
    return {list.id, {list.name, QString::number(list.id), list.type, list.created, list.count}};
}

MailList mailList(const ListRow &row)
{
    return {row.number, row.cells[Name], row.cells[Type], row.cells[CreateTime], row.cells[Count]};
}

QString report(const StorageError &error)
{
    return error.report(QStringLiteral("Error #  "));
}

} // namespace

frmMgrList::frmMgrList(const ProgramFolder &folder, Operator &op, ListCommands commands,
                       QWidget *parent)
    : CatalogueWindow(parent)
    , m_catalogue(folder)
    , m_op(op)
    , m_commands(std::move(commands))
    , m_ui(std::make_unique<Ui::frmMgrList>())
    , m_editor(std::make_unique<frmEditList>(op, this))
{
    m_ui->setupUi(this);
    m_ui->ViewDetails->setObjectName(QStringLiteral("View Details"));
    setUp({m_ui->ListView1, m_ui->combType, m_ui->txtSearch, m_ui->cmdSearch, m_ui->Toolbar1,
           m_ui->Delete},
          listColumns(), ListId, QIcon::fromTheme(QStringLiteral("x-office-address-book")));
    connectCommands();
}

frmMgrList::~frmMgrList() = default;

void frmMgrList::connectCommands()
{
    const auto makes = [this](QAction *action, const std::function<void()> &command) {
        connect(action, &QAction::triggered, this, [this, command] {
            selectingNew([&] {
                command();
                return true;
            });
        });
    };
    makes(m_ui->New, m_commands.create);
    makes(m_ui->Merge, m_commands.merge);
    makes(m_ui->Append, [this] { append(); });
    connect(m_ui->Copy, &QAction::triggered, this, &frmMgrList::duplicate);
    connect(m_ui->Properties, &QAction::triggered, this, &frmMgrList::edit);
    connect(m_ui->Open, &QAction::triggered, this, [this] {
        withList([this](const MailList &list) {
            m_commands.import(list);
            list_refresh();
        });
    });
    connect(m_ui->Export, &QAction::triggered, this, [this] { withList(m_commands.exportList); });
    connect(m_ui->ViewDetails, &QAction::triggered, this, &frmMgrList::browse);
    connect(m_ui->Search, &QAction::triggered, this,
            [this] { withList([this](const MailList &list) { m_commands.findJobs(list.id); }); });
}

void frmMgrList::list_refresh()
{
    SortableList *list = m_ui->ListView1;
    const auto field = ListCatalogue::SearchField(m_ui->combType->currentIndex());
    const QString text = m_ui->txtSearch->text();
    QStringList failures;
    try {
        const WaitPointer pointer; // a search for an address opens every list
        std::vector<ListRow> rows;
        for (const MailList &found :
             m_catalogue.search(field, text, [&](const QString &why) { failures += why; }))
            rows.push_back(listRow(found));
        list->setRows(std::move(rows));
        list->setEmptyText(
            text.isEmpty() ? tr("There are no lists yet. “New” makes the first one and can fill "
                                "it from a file.")
                           : tr("No list matches the search. Empty its text to see all lists."));
        if (list->selectedRow() >= 0)
            list->setFocus();
    } catch (const StorageError &e) {
        list->setRows({});
        list->setEmptyText(tr("The lists could not be read."));
        m_op.tell(report(e), tr("Error"));
    }
    for (const QString &failure : failures)
        m_op.tell(failure);
}

void frmMgrList::duplicate()
{
    withList([this](const MailList &list) {
        selectingNew([&] {
            try {
                const WaitPointer pointer;
                m_catalogue.duplicate(list);
            } catch (const StorageError &e) {
                m_op.tell(e.description());
            }
            return true;
        });
    });
}

void frmMgrList::edit()
{
    withList([this](MailList list) {
        if (!m_editor->edit(list))
            return;
        try {
            m_catalogue.rename(list.id, list.name, list.type);
            showEdited(listRow(list));
        } catch (const StorageError &e) {
            m_op.tell(report(e), tr("Error"));
        }
    });
}

void frmMgrList::deleteSelected()
{
    withList([this](const MailList &list) {
        QString count = tr("unknown");
        QString account;
        try {
            count = QLocale().toString(m_catalogue.countRecipients(list.id));
            if (const qint64 runs = m_catalogue.countRuns(list.id); runs > 0)
                account = tr("\nRuns whose account is forgotten: %L1").arg(runs);
        } catch (const StorageError &) {
            // Its database is missing or damaged, which is a reason to delete it.
        }
        if (!m_op.ask(tr("Delete : %1\n\nRecipients in the list: %2").arg(list.name, count) +
                          account,
                      tr("Delete ")))
            return;
        try {
            if (m_catalogue.remove(list.id, m_commands.isInUse))
                removeDeleted(list.id);
            else
                m_op.tell(tr("You cannot delete this maillist, becase it is being used in other "
                             "jobs !"),
                          tr("Maillist Manager"));
        } catch (const StorageError &e) {
            m_op.tell(report(e), tr("Error"));
            list_refresh(); // the row may be gone where the file is not
        }
    });
}

void frmMgrList::append()
{
    const int selected = m_ui->ListView1->selectedRow();
    if (selected < 0)
        return m_commands.append(nullptr);
    const MailList list = mailList(m_ui->ListView1->row(selected));
    m_commands.append(&list);
}

void frmMgrList::browse()
{
    withList([this](const MailList &list) {
        const bool isAddressSearch = m_ui->combType->currentIndex() == ListCatalogue::EmailAddress;
        m_commands.browse(list, isAddressSearch ? m_ui->txtSearch->text().trimmed() : QString());
        list_refresh();
    });
}

void frmMgrList::withList(const std::function<void(const MailList &)> &action)
{
    withSelected([&](const ListRow &row) { action(mailList(row)); });
}
