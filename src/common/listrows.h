#pragma once

#include "listsorting.h"

#include <QAbstractTableModel>
#include <QIcon>

/// A column of a report list.
struct ListColumn {
    QString header;
    double width; ///< as a fraction of the list's width
    SortKind kind = SortKind::Text;
    Qt::AlignmentFlag alignment = Qt::AlignLeft;
    int pixels = 0; ///< device-independent, added to the fraction
    QString sample =
        {}; ///< a text that the column is never too narrow for, as it is not for its header
};

/// A row of a report list: the record's number, and a text for each column.
struct ListRow {
    qint64 number = 0;
    QStringList cells;
};

/// The rows of a report list in the order they are shown.
class ListRows final : public QAbstractTableModel
{
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    void setColumns(std::vector<ListColumn> columns);
    const std::vector<ListColumn> &columns() const { return m_columns; }
    void setIcon(const QIcon &icon) { m_icon = icon; }

    /// Replaces all rows, sorted by `state`.
    void setRows(std::vector<ListRow> rows, const SortState &state);
    const ListRow &row(int row) const { return m_rows[size_t(row)]; }
    /// -1 where no row has the number.
    int rowOf(qint64 number) const;
    void setCells(int row, const QStringList &cells);
    void removeRow(int row);
    void sort(const SortState &state);

private:
    /// The present row numbers in the order that `state` asks for.
    std::vector<int> order(const std::vector<ListRow> &rows, const SortState &state) const;

    std::vector<ListColumn> m_columns;
    std::vector<ListRow> m_rows;
    QIcon m_icon;
};
