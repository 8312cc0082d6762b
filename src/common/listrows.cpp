#include "listrows.h"

namespace
{

std::vector<ListRow> permuted(std::vector<ListRow> &rows, const std::vector<int> &order)
{
    std::vector<ListRow> result;
    result.reserve(rows.size());
    for (const int from : order)
        result.push_back(std::move(rows[size_t(from)]));
    return result;
}

} // namespace

int ListRows::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int ListRows::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columns.size());
}

QVariant ListRows::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return row(index.row()).cells.value(index.column());
    case Qt::TextAlignmentRole:
        return int(m_columns[size_t(index.column())].alignment | Qt::AlignVCenter);
    case Qt::DecorationRole:
        return index.column() == 0 ? QVariant(m_icon) : QVariant();
    default:
        return {};
    }
}

QVariant ListRows::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount())
        return {};
    const ListColumn &column = m_columns[size_t(section)];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return column.header;
    case Qt::TextAlignmentRole:
        return int(column.alignment | Qt::AlignVCenter);
    default:
        return {};
    }
}

void ListRows::setColumns(std::vector<ListColumn> columns)
{
    beginResetModel();
    m_columns = std::move(columns);
    endResetModel();
}

void ListRows::setRows(std::vector<ListRow> rows, const SortState &state)
{
    beginResetModel();
    m_rows = permuted(rows, order(rows, state));
    endResetModel();
}

int ListRows::rowOf(qint64 number) const
{
    const auto found = std::find_if(m_rows.begin(), m_rows.end(),
                                    [number](const ListRow &row) { return row.number == number; });
    return found == m_rows.end() ? -1 : int(found - m_rows.begin());
}

void ListRows::setCells(int row, const QStringList &cells)
{
    m_rows[size_t(row)].cells = cells;
    emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}

void ListRows::removeRow(int row)
{
    beginRemoveRows({}, row, row);
    m_rows.erase(m_rows.begin() + row);
    endRemoveRows();
}

void ListRows::sort(const SortState &state)
{
    emit layoutAboutToBeChanged({}, VerticalSortHint);
    const std::vector<int> from = order(m_rows, state);
    std::vector<int> to(from.size());
    for (size_t i = 0; i < from.size(); ++i)
        to[size_t(from[i])] = int(i);
    m_rows = permuted(m_rows, from);
    const QModelIndexList before = persistentIndexList();
    QModelIndexList after;
    for (const QModelIndex &index : before)
        after += this->index(to[size_t(index.row())], index.column());
    changePersistentIndexList(before, after);
    emit layoutChanged({}, VerticalSortHint);
}

std::vector<int> ListRows::order(const std::vector<ListRow> &rows, const SortState &state) const
{
    QStringList cells;
    cells.reserve(qsizetype(rows.size()));
    for (const ListRow &row : rows)
        cells += row.cells.value(state.column());
    return sortedOrder(cells, m_columns[size_t(state.column())].kind, state.ascending());
}
