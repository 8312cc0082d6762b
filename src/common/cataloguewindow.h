#pragma once

#include "sortablelist.h"

#include <QDialog>

#include <functional>

class QComboBox;
class QLineEdit;
class QPushButton;
class QToolBar;

/// A window that lists the records of a catalogue, finds them by one of their fields, and acts on
/// the selected one. It is made once and hidden between uses.
class CatalogueWindow : public QDialog
{
    Q_OBJECT

public:
    ~CatalogueWindow() override;

protected:
    struct Parts {
        SortableList *list;
        QComboBox *searchField;
        QLineEdit *searchText;
        QPushButton *search;
        QToolBar *toolbar;
        QAction *deleteAction;
    };

    using QDialog::QDialog;
    /// Once, when the form is set up. `numberColumn` shows the records' numbers; by it the list is
    /// sorted at first.
    void setUp(const Parts &parts, std::vector<ListColumn> columns, int numberColumn,
               const QIcon &icon);

    /// Lists the records that the search bar asks for. A failure leaves none: the old ones would
    /// look like what was asked for.
    virtual void list_refresh() = 0;
    /// What a double click on a record, or Return, does.
    virtual void enterSelected() = 0;
    virtual void deleteSelected() = 0;

    /// Runs `action` on the selected record, where one is selected.
    void withSelected(const std::function<void(const ListRow &)> &action);
    /// Runs a command that may make a record. Where it says that the list may have changed, lists
    /// the records anew and selects the one that it made.
    void selectingNew(const std::function<bool()> &command);
    /// Takes the row of a deleted record out; then none is selected.
    void removeDeleted(qint64 number);
    /// Shows an edited record's cells where its row stands, and selects it.
    void showEdited(const ListRow &row);

    /// Begins every use with all records, the newest first.
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    Parts m_parts{};
    int m_numberColumn = 0;
};
