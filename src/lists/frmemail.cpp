#include "frmemail.h"

#include "ui_frmemail.h"

#include "listcatalogue.h"
#include "operator.h"
#include "programfolder.h"
#include "statuspanel.h"
#include "toolbarkeys.h"
#include "waitpointer.h"
#include "windowlayout.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>

#include <algorithm>

frmemail::frmemail(const ProgramFolder &folder, Operator &op, QWidget *parent)
    : QDialog(parent)
    , m_folder(folder)
    , m_op(op)
    , m_ui(std::make_unique<Ui::frmemail>())
{
    m_ui->setupUi(this);
    m_position = addStatusPanel(*m_ui->StatusBar1);
    m_command = addStatusPanel(*m_ui->StatusBar1);
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    letTabReachButtons(*m_ui->Toolbar1);
    m_ui->combSearch->addItem(tr("-- Search By --"));
    m_ui->combSearch->addItems(RecipientQuery::fieldNames());
    m_ui->combSort->addItem(tr("-- Sort By --"));
    m_ui->combSort->addItems(RecipientQuery::fieldNames());
    m_ui->grdDataGrid->setEmptyListText(
        tr("This list has no recipients yet. “Add” types in the first one; many at once come with "
           "“Import” in the Maillist Manager."));
    connectCommands();
    setEditing(false);
    restoreWindowLayout(*this, *m_ui->grdDataGrid);
}

frmemail::~frmemail()
{
    // Hiding saves the layout: not later, when the grid is gone.
    hide();
}

void frmemail::connectCommands()
{
    connect(m_ui->Add, &QAction::triggered, this, &frmemail::addRecord);
    connect(m_ui->Edit, &QAction::triggered, this, &frmemail::editRecord);
    connect(m_ui->Delete, &QAction::triggered, this, &frmemail::deleteRecord);
    connect(m_ui->Update, &QAction::triggered, this, &frmemail::updateRecord);
    connect(m_ui->Undo, &QAction::triggered, this, &frmemail::undo);
    connect(m_ui->Trunc, &QAction::triggered, this, &frmemail::trunc);
    const auto moves = [this](QAction *action, QAbstractButton *button, RecordMove to) {
        connect(action, &QAction::triggered, this, [this, to] { move(to); });
        connect(button, &QAbstractButton::clicked, this, [this, to] { move(to); });
    };
    moves(m_ui->First, m_ui->cmdFirst, RecordMove::First);
    moves(m_ui->Prior, m_ui->cmdPrevious, RecordMove::Previous);
    moves(m_ui->Next, m_ui->cmdNext, RecordMove::Next);
    moves(m_ui->Last, m_ui->cmdLast, RecordMove::Last);
    connect(m_ui->txtSearch, &QLineEdit::returnPressed, m_ui->cmdSearch, &QPushButton::click);
    connect(m_ui->cmdSearch, &QPushButton::clicked, this, [this] {
        if (saveRow())
            reload();
    });

    RecipientGrid *grid = m_ui->grdDataGrid;
    grid->installEventFilter(this);
    grid->setContextMenuPolicy(Qt::ActionsContextMenu);
    grid->addActions({m_ui->Add, m_ui->Edit, m_ui->Delete, m_ui->Update, m_ui->Undo});
    connect(&grid->recipients(), &RecipientModel::failed, this,
            [this](const QString &description) { m_op.tell(description); });
    connect(grid->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &frmemail::showPosition);
    // Later, since the grid is in the middle of moving.
    connect(grid->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &frmemail::saveLeftRow, Qt::QueuedConnection);
    for (const auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(&grid->recipients(), signal, this, &frmemail::showPosition);
}

bool frmemail::Load_db(const QString &listConnectionString, const QString &listName, qint64 listId)
{
    m_listConnectionString = listConnectionString;
    m_listId = listId;
    setWindowTitle(listName);
    m_ui->combSearch->setCurrentIndex(0);
    m_ui->combSort->setCurrentIndex(0);
    m_ui->txtSearch->clear();
    m_command->clear();
    m_ui->grdDataGrid->setEditable(false);
    setEditing(false);
    return reload();
}

void frmemail::search(int field, const QString &text)
{
    m_ui->combSearch->setCurrentIndex(field);
    m_ui->txtSearch->setText(text);
    m_ui->cmdSearch->click();
}

/// Reads the recipients that the search bar asks for. What was typed and not saved is lost.
bool frmemail::reload()
{
    const RecipientQuery query{.searchField = m_ui->combSearch->currentIndex(),
                               .searchText = m_ui->txtSearch->text(),
                               .sortField = m_ui->combSort->currentIndex()};
    const bool isLoaded = attempt([&] { m_ui->grdDataGrid->load(m_listConnectionString, query); });
    if (isLoaded) {
        goToRow(0);
        showPosition();
        m_ui->grdDataGrid->setFocus();
    }
    return isLoaded;
}

void frmemail::setEditing(bool isEditing)
{
    m_isEditing = isEditing;
    for (QAction *action : {m_ui->Add, m_ui->Edit, m_ui->Delete})
        action->setEnabled(!isEditing);
    for (QAction *action : {m_ui->Update, m_ui->Undo})
        action->setEnabled(isEditing);
    for (QAbstractButton *button : std::initializer_list<QAbstractButton *>{
             m_ui->cmdSearch, m_ui->cmdFirst, m_ui->cmdPrevious, m_ui->cmdNext, m_ui->cmdLast})
        button->setEnabled(!isEditing);
}

void frmemail::addRecord()
{
    m_command->setText(tr("Add Record"));
    RecipientGrid *grid = m_ui->grdDataGrid;
    RecipientModel &recipients = grid->recipients();
    if (!saveRow() || !(recipients.isLoaded() || reload()) ||
        !attempt([&] { recipients.addRow(); }))
        return;
    grid->setEditable(true);
    grid->setCurrentIndex(recipients.index(recipients.changedRow(), 0));
    grid->setFocus();
    grid->edit(grid->currentIndex());
}

void frmemail::editRecord()
{
    m_command->setText(tr("Edit Record"));
    m_ui->grdDataGrid->setEditable(true);
    m_ui->grdDataGrid->setFocus();
    setEditing(true);
}

void frmemail::updateRecord()
{
    m_command->setText(tr("Update Record"));
    if (!saveRow())
        return;
    m_ui->grdDataGrid->setEditable(false);
    m_ui->grdDataGrid->setFocus();
    setEditing(false);
}

void frmemail::undo()
{
    m_command->setText(tr("Undo/Cancel Update"));
    RecipientGrid *grid = m_ui->grdDataGrid;
    grid->discardEditor();
    grid->setEditable(false);
    setEditing(false);
    grid->recipients().cancelChanges();
    grid->setFocus();
}

void frmemail::deleteRecord()
{
    RecipientGrid *grid = m_ui->grdDataGrid;
    grid->discardEditor();
    grid->setEditable(false);
    const int row = grid->currentIndex().row();
    if (row >= 0 && attempt([&] {
            const bool forget =
                grid->recipients().isAccountedFor(row) &&
                m_op.ask(tr("The account of the runs keeps this recipient's address and what the "
                            "server replied.\n\nBlank them there too ?"));
            grid->recipients().deleteRow(row, forget);
        }))
        goToRow(std::min(row, grid->recipients().rowCount() - 1));
    grid->setFocus();
}

void frmemail::trunc()
{
    qint64 count = 0;
    if (!attempt([&] { count = ListCatalogue(m_folder).countRecipients(m_listId); }) ||
        !m_op.ask(tr("Delete all records ?\n\nRecipients in the list: %L1").arg(count)))
        return;
    m_ui->grdDataGrid->discardEditor();
    const bool isEmptied = attempt([this] {
        RecipientModel &recipients = m_ui->grdDataGrid->recipients();
        const bool forget =
            recipients.isAccountedFor(-1) &&
            m_op.ask(tr("The account of the runs keeps these recipients' addresses and what the "
                        "server replied.\n\nBlank them there too ?"));
        const WaitPointer pointer;
        recipients.deleteAll(forget);
    });
    if (!isEmptied)
        return;
    m_ui->txtSearch->clear();
    reload();
}

void frmemail::move(RecordMove to)
{
    RecipientModel &recipients = m_ui->grdDataGrid->recipients();
    const bool isReady = saveRow() && (to != RecordMove::Last || attempt([&] {
                                           const WaitPointer pointer;
                                           recipients.complete();
                                       }));
    const int last = recipients.rowCount() - 1;
    if (!isReady || last < 0)
        return;
    const int row = m_ui->grdDataGrid->currentIndex().row();
    const int target = to == RecordMove::First      ? 0
                       : to == RecordMove::Previous ? row - 1
                       : to == RecordMove::Next     ? row + 1
                                                    : last;
    if (target < 0 || target > last)
        QApplication::beep();
    goToRow(std::clamp(target, 0, last));
}

/// Makes the row the current record, in the column where the person is.
void frmemail::goToRow(int row)
{
    RecipientGrid *grid = m_ui->grdDataGrid;
    const int column = std::max(0, grid->currentIndex().column());
    grid->setCurrentIndex(grid->recipients().index(row, column));
    showPosition();
}

/// Writes what is typed to the list. False when the list refuses it: then the person is told and
/// led back to it.
bool frmemail::saveRow()
{
    RecipientGrid *grid = m_ui->grdDataGrid;
    grid->commitEditor();
    if (attempt([grid] { grid->recipients().saveChanges(); }))
        return true;
    grid->setEditable(true);
    setEditing(true); // whatever led here: now the record is updated, or the typing undone
    goToRow(grid->recipients().changedRow());
    grid->setFocus();
    return false;
}

void frmemail::saveLeftRow()
{
    RecipientGrid *grid = m_ui->grdDataGrid;
    const int changed = grid->recipients().changedRow();
    if (changed >= 0 && changed != grid->currentIndex().row())
        saveRow();
}

void frmemail::showPosition()
{
    const RecipientGrid *grid = m_ui->grdDataGrid;
    m_position->setText(
        tr("Record: %1/%2").arg(grid->currentIndex().row() + 1).arg(grid->model()->rowCount()));
}

void frmemail::reject()
{
    if (!saveRow())
        return;
    // While a search is in force the grid does not tell how many there are.
    if (m_ui->txtSearch->text().trimmed().isEmpty())
        storeCount();
    m_ui->grdDataGrid->setEditable(false);
    QDialog::reject();
}

void frmemail::hideEvent(QHideEvent *event)
{
    saveWindowLayout(*this, *m_ui->grdDataGrid);
    QDialog::hideEvent(event);
}

void frmemail::storeCount()
{
    try {
        storeRecipientCount(m_folder, m_listId);
    } catch (const StorageError &) {
        // The catalogue goes on showing the count it has.
    }
}

bool frmemail::attempt(const std::function<void()> &step)
{
    try {
        step();
        return true;
    } catch (const StorageError &e) {
        m_op.tell(e.description());
        return false;
    }
}

void frmemail::keyPressEvent(QKeyEvent *event)
{
    const bool hasChanges = m_isEditing || m_ui->grdDataGrid->recipients().changedRow() >= 0;
    if (event->key() == Qt::Key_Escape && hasChanges)
        return undo();
    const std::optional<RecordMove> to = recordMove(*event);
    if (to && !m_isEditing)
        move(*to);
    else
        QDialog::keyPressEvent(event);
}

/// In browse mode the keys move between records rather than between the grid's cells.
bool frmemail::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && !m_isEditing) {
        if (const auto to = recordMove(*static_cast<QKeyEvent *>(event))) {
            move(*to);
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}
