#include "sortablelist.h"

#include "plaintooltip.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStyledItemDelegate>
#include <QToolTip>

#include <algorithm>

namespace
{

/// Gives the rows some air: the style's own height leaves lines of text as dense as in a book.
/// Where there is an icon for the selected row, makes that row bold.
class RoomyRows final : public QStyledItemDelegate
{
public:
    RoomyRows(const QIcon &selectedIcon, QObject *parent)
        : QStyledItemDelegate(parent)
        , m_selectedIcon(selectedIcon)
    {
    }
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QSize dense = QStyledItemDelegate::sizeHint(option, index);
        return {dense.width(), dense.height() + option.fontMetrics.height() / 3};
    }

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (m_selectedIcon.isNull() || !option->state.testFlag(QStyle::State_Selected))
            return;
        option->font.setBold(true);
        if (index.column() == 0)
            option->icon = m_selectedIcon;
    }

private:
    const QIcon &m_selectedIcon;
};

bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Base).lightness() < 128;
}

QColor mixed(const QColor &color, const QColor &with, double share)
{
    const auto part = [share](int one, int other) {
        return int(one * share + other * (1 - share));
    };
    return QColor(part(color.red(), with.red()), part(color.green(), with.green()),
                  part(color.blue(), with.blue()));
}

} // namespace

SortableList::SortableList(QWidget *parent)
    : QTreeView(parent)
{
    setModel(&m_rows);
    setItemDelegate(new RoomyRows(m_selectedIcon, this));
    setRootIsDecorated(false);
    setItemsExpandable(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    setAlternatingRowColors(true);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setHorizontalScrollMode(ScrollPerPixel);
    header()->setMinimumHeight(fontMetrics().height() * 3 / 2);
    header()->setStretchLastSection(false);
    header()->setSectionsMovable(false);
    header()->setSectionsClickable(true);
    header()->setSortIndicatorShown(true);

    connect(header(), &QHeaderView::sectionClicked, this, [this](int column) {
        m_sort.click(column);
        sortRows();
    });
    connect(header(), &QHeaderView::sectionResized, this, [this] {
        if (!m_isSpreading)
            m_widthsAreSet = true;
    });
    connect(this, &QTreeView::doubleClicked, this,
            [this](const QModelIndex &index) { emit rowDoubleClicked(index.row()); });
}

void SortableList::setColumns(std::vector<ListColumn> columns)
{
    m_rows.setColumns(std::move(columns));
    spreadColumns();
    showSortArrow();
}

void SortableList::setIcons(const QIcon &normal, const QIcon &selected)
{
    m_rows.setIcon(normal);
    m_selectedIcon = selected;
}

void SortableList::setEmptyText(const QString &text)
{
    m_emptyText = text;
    viewport()->update();
}

QByteArray SortableList::saveColumns() const
{
    return m_widthsAreSet ? header()->saveState() : QByteArray();
}

void SortableList::restoreColumns(const QByteArray &state)
{
    // The state holds the arrow too, but a list begins sorted in its own way.
    if (header()->restoreState(state))
        m_widthsAreSet = true;
    showSortArrow();
}

void SortableList::sortDescending(int column)
{
    m_sort = {};
    m_sort.sortDescending(column);
    sortRows();
}

void SortableList::setRows(std::vector<ListRow> rows)
{
    const int selected = selectedRow();
    const qint64 number = selected < 0 ? 0 : row(selected).number;
    m_rows.setRows(std::move(rows), m_sort);
    if (selected < 0)
        return;
    selectRow(rowOf(number));
    if (selectedRow() < 0)
        emit rowSelected(-1);
}

void SortableList::removeRow(int row)
{
    // The view would select a neighbour, and the next command would act on what nobody chose.
    clearSelection();
    setCurrentIndex({});
    m_rows.removeRow(row);
}

int SortableList::selectedRow() const
{
    const QModelIndexList selected = selectionModel()->selectedRows();
    return selected.isEmpty() ? -1 : selected.first().row();
}

void SortableList::selectRow(int row)
{
    const QModelIndex index = m_rows.index(row, 0);
    if (!index.isValid())
        return;
    setCurrentIndex(index);
    scrollTo(index);
}

qint64 SortableList::highestNumber() const
{
    qint64 highest = 0;
    for (int i = 0; i < count(); ++i)
        highest = std::max(highest, row(i).number);
    return highest;
}

void SortableList::selectNewerThan(qint64 number)
{
    // Numbers are never used twice, so the newest record has the highest one.
    const qint64 newest = highestNumber();
    if (newest <= number)
        return;
    selectRow(rowOf(newest));
    setFocus();
}

void SortableList::sortRows()
{
    viewport()->setCursor(Qt::WaitCursor);
    m_rows.sort(m_sort);
    showSortArrow();
    viewport()->unsetCursor();
}

void SortableList::showSortArrow()
{
    header()->setSortIndicator(m_sort.column(),
                               m_sort.ascending() ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void SortableList::spreadColumns()
{
    const QScopedValueRollback spreading(m_isSpreading, true);
    QFont bold = font();
    bold.setBold(true);
    const QFontMetrics metrics(bold);
    int section = 0;
    for (const ListColumn &column : m_rows.columns()) {
        const int least = std::max(header()->sectionSizeHint(section),
                                   metrics.horizontalAdvance(column.sample + QStringLiteral("  ")));
        header()->resizeSection(
            section++, std::max(least, int(column.width * viewport()->width()) + column.pixels));
    }
}

void SortableList::drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                           const QModelIndex &index) const
{
    // A pale selection, on which red text can be read.
    QStyleOptionViewItem pale = option;
    const QColor red = isDark(palette()) ? QColor(255, 120, 120) : QColor(255, 0, 0);
    pale.palette.setColor(QPalette::Highlight, mixed(option.palette.color(QPalette::Highlight),
                                                     option.palette.color(QPalette::Base), 0.25));
    pale.palette.setColor(QPalette::HighlightedText,
                          m_selectedIcon.isNull() ? option.palette.color(QPalette::Text) : red);
    QTreeView::drawRow(painter, pale, index);
}

void SortableList::keyPressEvent(QKeyEvent *event)
{
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && selectedRow() >= 0)
        emit rowEntered(selectedRow());
    else
        QTreeView::keyPressEvent(event);
}

void SortableList::paintEvent(QPaintEvent *event)
{
    QTreeView::paintEvent(event);
    if (count() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const int margin = fontMetrics().height();
    painter.drawText(viewport()->rect().marginsRemoved({margin, margin, margin, margin}),
                     Qt::AlignCenter | Qt::TextWordWrap, m_emptyText);
}

void SortableList::resizeEvent(QResizeEvent *event)
{
    QTreeView::resizeEvent(event);
    if (!m_widthsAreSet)
        spreadColumns();
}

void SortableList::selectionChanged(const QItemSelection &now, const QItemSelection &before)
{
    QTreeView::selectionChanged(now, before);
    emit rowSelected(selectedRow());
}

bool SortableList::viewportEvent(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QTreeView::viewportEvent(event);
    // A cell that is cut off can be read in full.
    const auto *help = static_cast<QHelpEvent *>(event);
    const QModelIndex index = indexAt(help->pos());
    const bool isCutOff = visualRect(index).width() < sizeHintForIndex(index).width();
    QToolTip::showText(help->globalPos(),
                       isCutOff ? plainToolTip(index.data().toString()) : QString(), this);
    return true;
}
