#pragma once

#include "recipientmodel.h"

#include <QTableView>

/// The grid of a list's recipients, with columns as wide as fractions of the grid, and wide enough
/// for their titles, until somebody drags one.
class RecipientGrid final : public QTableView
{
    Q_OBJECT

public:
    explicit RecipientGrid(QWidget *parent = nullptr);

    /// Throws StorageError, and then shows that nothing could be read.
    void load(const QString &listConnectionString, const RecipientQuery &query);
    RecipientModel &recipients() { return m_recipients; }
    /// Shown in place of rows when the list has none.
    void setEmptyListText(const QString &text) { m_emptyListText = text; }

    /// The column widths as they are, for restoreColumns() of a later run; empty while they follow
    /// the grid's own.
    QByteArray saveColumns() const;
    void restoreColumns(const QByteArray &state);

    /// Whether cells can be typed into. What is typed goes into the model's changed row.
    void setEditable(bool editable);
    /// Ends typing in a cell; what was typed counts, or not.
    void commitEditor();
    void discardEditor();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void setColumnWidths();

    RecipientModel m_recipients;
    QString m_emptyListText;
    QString m_emptyText;
    bool m_isSettingWidths = false;
    bool m_hasOwnWidths = false; // somebody dragged one
};
