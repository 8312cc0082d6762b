#pragma once

#include "listsorting.h"

#include <QAbstractTableModel>
#include <QColor>
#include <QIcon>

#include <optional>

/// A column of a report list.
struct ListColumn {
    QString header;
    double width; ///< as a fraction of the list's width
    SortKind kind = SortKind::Text;
    Qt::AlignmentFlag alignment = Qt::AlignLeft;
    int pixels = 0; ///< device-independent, added to the fraction
};

/// A row of a report list: the record's number, and a text for each column.
struct ListRow {
    qint64 number = 0;
    QStringList cells;
};

/// The rows of a report list in the order they are shown. One row may be highlighted: bold, red
/// and with an icon of its own.
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
    void setIcons(const QIcon &normal, const QIcon &highlighted);
    void setHighlightColor(const QColor &color);

    /// Replaces all rows, sorted by `state`.
    void setRows(std::vector<ListRow> rows, const SortState &state);
    const ListRow &row(int row) const { return m_rows[size_t(row)]; }
    /// -1 where no row has the number.
    int rowOf(qint64 number) const;
    void setCells(int row, const QStringList &cells);
    void removeRow(int row);
    void sort(const SortState &state);

    /// Highlights the row with this number, now and after rows were replaced, and no other.
    void highlight(qint64 number);
    std::optional<qint64> highlighted() const { return m_highlighted; }

private:
    /// The present row numbers in the order that `state` asks for.
    std::vector<int> order(const std::vector<ListRow> &rows, const SortState &state) const;
    void changed(int row);

    std::vector<ListColumn> m_columns;
    std::vector<ListRow> m_rows;
    std::optional<qint64> m_highlighted;
    QIcon m_normalIcon;
    QIcon m_highlightedIcon;
    QColor m_highlightColor;
};
