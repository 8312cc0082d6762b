#pragma once

#include "listcatalogue.h"

#include <QDialog>

#include <functional>
#include <memory>

class Operator;
class QComboBox;
class StorageError;

namespace Ui
{
class frmEditList;
class frmNewList;
} // namespace Ui

/// Adds the types in use to those the box offers. Throws StorageError.
void LoadListType(QComboBox &types, const ListCatalogue &catalogue);

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
    void tellFailure(const StorageError &error);

    std::unique_ptr<Ui::frmNewList> m_ui;
    ListCatalogue m_catalogue;
    Operator &m_op;
    qint64 m_listId = 0;
};

/// The dialog about a list's name and type. It is made once and hidden between uses.
class frmEditList final : public QDialog
{
    Q_OBJECT

public:
    /// `op` must outlive the window.
    explicit frmEditList(Operator &op, QWidget *parent = nullptr);
    ~frmEditList() override;

    /// Shows the dialog for `list`, which gets the name and type as typed; true for "Save".
    bool edit(MailList &list);

private:
    std::unique_ptr<Ui::frmEditList> m_ui;
};
