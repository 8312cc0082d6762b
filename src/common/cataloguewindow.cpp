#include "cataloguewindow.h"

#include "toolbarkeys.h"
#include "windowlayout.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QShowEvent>
#include <QToolBar>

CatalogueWindow::~CatalogueWindow()
{
    // Hiding saves the layout: not later, when the list is gone.
    hide();
}

void CatalogueWindow::setUp(const Parts &parts, std::vector<ListColumn> columns, int numberColumn,
                            const QIcon &icon)
{
    m_parts = parts;
    m_numberColumn = numberColumn;
    letTabReachButtons(*parts.toolbar);
    parts.list->setColumns(std::move(columns));
    parts.list->setIcons(icon);
    connect(parts.list, &SortableList::rowDoubleClicked, this, [this] { enterSelected(); });
    connect(parts.list, &SortableList::rowEntered, this, [this] { enterSelected(); });
    connect(parts.deleteAction, &QAction::triggered, this, [this] { deleteSelected(); });
    // Del in the search box means the box's text.
    auto *shortcut = new QShortcut(Qt::Key_Delete, parts.list);
    shortcut->setContext(Qt::WidgetShortcut);
    connect(shortcut, &QShortcut::activated, this, [this] { deleteSelected(); });
    parts.list->setContextMenuPolicy(Qt::ActionsContextMenu);
    parts.list->addActions(parts.toolbar->actions());
    connect(parts.search, &QPushButton::clicked, this, [this] { list_refresh(); });
    restoreWindowLayout(*this, *parts.list);
}

void CatalogueWindow::withSelected(const std::function<void(const ListRow &)> &action)
{
    const int selected = m_parts.list->selectedRow();
    if (selected < 0)
        return;
    // A copy, since the action may fill the list anew.
    const ListRow row = m_parts.list->row(selected);
    action(row);
}

void CatalogueWindow::selectingNew(const std::function<bool()> &command)
{
    const qint64 highest = m_parts.list->highestNumber();
    if (!command())
        return;
    list_refresh();
    m_parts.list->selectNewerThan(highest);
}

void CatalogueWindow::removeDeleted(qint64 number)
{
    m_parts.list->removeRow(m_parts.list->rowOf(number));
    m_parts.list->setFocus();
}

void CatalogueWindow::showEdited(const ListRow &row)
{
    const int index = m_parts.list->rowOf(row.number);
    m_parts.list->selectRow(index);
    m_parts.list->setFocus();
    m_parts.list->setCells(index, row.cells);
}

void CatalogueWindow::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (event->spontaneous())
        return;
    m_parts.searchField->setCurrentIndex(0);
    m_parts.searchText->clear();
    m_parts.list->setRows({});
    list_refresh();
    m_parts.list->sortDescending(m_numberColumn);
    m_parts.list->selectRow(0);
    m_parts.list->setFocus();
}

void CatalogueWindow::hideEvent(QHideEvent *event)
{
    saveWindowLayout(*this, *m_parts.list);
    QDialog::hideEvent(event);
}
