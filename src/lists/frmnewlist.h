#pragma once

#include "listcatalogue.h"

#include <QDialog>

#include <functional>
#include <memory>

class Operator;
class StorageError;

namespace Ui
{
class frmNewList;
}

/// The dialog that makes a list. It is made once and hidden between uses.
class frmNewList final : public QDialog
{
    Q_OBJECT

public:
    /// Shows the window in which recipients are imported into the list.
    using Import = std::function<void(qint64 listId, const QString &listName)>;

    /// `op` must outlive the window.
    frmNewList(const ProgramFolder &folder, Operator &op, Import import, QWidget *parent = nullptr);
    ~frmNewList() override;

    /// Shows the dialog; returns the number of the list that was made, 0 when none was.
    qint64 createList();

private:
    bool create();
    void createAndImport();
    void tellFailure(const StorageError &error);

    std::unique_ptr<Ui::frmNewList> m_ui;
    ListCatalogue m_catalogue;
    Operator &m_op;
    Import m_import;
    qint64 m_listId = 0;
};
