#include "recipientgrid.h"

#include "waitpointer.h"

#include <QHeaderView>
#include <QPainter>

#include <algorithm>

namespace
{

/// Of the grid's width. Together more than the whole: the reason is found by scrolling.
constexpr std::array<double, 9> widths = {1.0 / 4, 1.0 / 8, 1.0 / 8,  1.0 / 16, 1.0 / 16,
                                          1.0 / 8, 1.0 / 8, 1.0 / 16, 1.0 / 4};

} // namespace

RecipientGrid::RecipientGrid(QWidget *parent)
    : QTableView(parent)
{
    setModel(&m_recipients);
    setEditTriggers(NoEditTriggers);
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setTabKeyNavigation(false);
    setHorizontalScrollMode(ScrollPerPixel);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // One height for all rows, so that a million of them need no measuring.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
    verticalHeader()->hide();
    connect(horizontalHeader(), &QHeaderView::sectionResized, this,
            [this] { m_hasOwnWidths = m_hasOwnWidths || !m_isSettingWidths; });
}

void RecipientGrid::load(const QString &listConnectionString, const RecipientQuery &query)
{
    const WaitPointer pointer; // sorting a long list takes its time
    m_emptyText = tr("The recipients could not be read.");
    m_recipients.load(listConnectionString, query);
    m_emptyText =
        query.condition().isEmpty()
            ? m_emptyListText
            : tr("No recipient matches the search. Empty its text to see the whole list.");
    setColumnWidths();
}

QByteArray RecipientGrid::saveColumns() const
{
    return m_hasOwnWidths ? horizontalHeader()->saveState() : QByteArray();
}

void RecipientGrid::restoreColumns(const QByteArray &state)
{
    m_hasOwnWidths = horizontalHeader()->restoreState(state);
}

void RecipientGrid::setEditable(bool editable)
{
    setEditTriggers(editable ? DoubleClicked | EditKeyPressed | AnyKeyPressed : NoEditTriggers);
}

void RecipientGrid::commitEditor()
{
    if (QWidget *editor = indexWidget(currentIndex())) {
        commitData(editor);
        closeEditor(editor, QAbstractItemDelegate::NoHint);
    }
}

void RecipientGrid::discardEditor()
{
    if (QWidget *editor = indexWidget(currentIndex()))
        closeEditor(editor, QAbstractItemDelegate::RevertModelCache);
}

void RecipientGrid::paintEvent(QPaintEvent *event)
{
    QTableView::paintEvent(event);
    if (m_recipients.rowCount() > 0)
        return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(viewport()->rect().adjusted(16, 16, -16, -16),
                     int(Qt::AlignCenter) | Qt::TextWordWrap, m_emptyText);
}

void RecipientGrid::resizeEvent(QResizeEvent *event)
{
    QTableView::resizeEvent(event);
    setColumnWidths();
}

void RecipientGrid::setColumnWidths()
{
    if (m_hasOwnWidths)
        return;
    m_isSettingWidths = true;
    for (size_t i = 0; i < widths.size(); ++i)
        setColumnWidth(int(i), std::max(int(widths[i] * viewport()->width()),
                                        horizontalHeader()->sectionSizeHint(int(i))));
    m_isSettingWidths = false;
}
