#pragma once

#include "listrows.h"

#include <QTreeView>

/// A report list: rows of texts under headers, one of them selected. A click on a header sorts by
/// its column and turns the direction each time; the arrow shows it.
///
/// Rows are known by the number of their record, which outlives sorting and refilling.
class SortableList final : public QTreeView
{
    Q_OBJECT

public:
    explicit SortableList(QWidget *parent = nullptr);

    /// At most SortState::MaxColumns. The widths follow the list's own until the person, or
    /// restoreColumns(), has set one.
    void setColumns(std::vector<ListColumn> columns);
    /// The rows' icon. Where there is one for the selected row too, that row is shown with it, bold
    /// and red.
    void setIcons(const QIcon &normal, const QIcon &selected = {});
    /// Shown in place of rows while there are none.
    void setEmptyText(const QString &text);

    /// The column widths that the person has set, for restoreColumns() of a later run; nothing
    /// where they follow the list's width.
    QByteArray saveColumns() const;
    void restoreColumns(const QByteArray &state);

    /// Sorts so that the next click on the column's header sorts it ascending.
    void sortDescending(int column);

    /// Replaces all rows, sorted as the list is. The selected record stays selected where it is
    /// among them.
    void setRows(std::vector<ListRow> rows);
    int count() const { return m_rows.rowCount(); }
    /// `row` from 0 to count() - 1, as shown.
    const ListRow &row(int row) const { return m_rows.row(row); }
    /// Where the record is; -1 where it is not listed.
    int rowOf(qint64 number) const { return m_rows.rowOf(number); }
    /// Changes a row where it stands; the list is not sorted again.
    void setCells(int row, const QStringList &cells) { m_rows.setCells(row, cells); }
    /// Removes a row; afterwards no row is selected.
    void removeRow(int row);

    /// -1 when no row is selected.
    int selectedRow() const;
    /// Selects the row and scrolls it into view; a row that is not there changes nothing.
    void selectRow(int row);

    /// The highest number among the records listed; 0 when there are none.
    qint64 highestNumber() const;
    /// Selects the newest of the records that are newer than `number`, scrolls it into view and
    /// gives the list the focus; where there is none, nothing changes.
    void selectNewerThan(qint64 number);

signals:
    /// Another row is the selected one, however it was selected, or none is (-1), or the rows were
    /// replaced around the one that was.
    void rowSelected(int row);
    void rowDoubleClicked(int row);
    /// Return was pressed on the row.
    void rowEntered(int row);

protected:
    void drawRow(QPainter *painter, const QStyleOptionViewItem &option,
                 const QModelIndex &index) const override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void selectionChanged(const QItemSelection &now, const QItemSelection &before) override;
    bool viewportEvent(QEvent *event) override;

private:
    void sortRows();
    void showSortArrow();
    void spreadColumns();

    ListRows m_rows;
    QIcon m_selectedIcon;
    SortState m_sort;
    QString m_emptyText;
    bool m_widthsAreSet = false;
    bool m_isSpreading = false;
};
