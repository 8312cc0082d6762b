#pragma once

#include "cataloguewindow.h"
#include "listcatalogue.h"

#include <functional>
#include <memory>

class frmEditList;
class Operator;

namespace Ui
{
class frmMgrList;
}

/// What the list catalogue starts in other windows, each shown until it is left.
struct ListCommands {
    ListCatalogue::InUse isInUse;
    std::function<void()> create;
    std::function<void(const MailList &list)> import;
    std::function<void(const MailList &list)> exportList;
    std::function<void()> merge;
    /// `list`: what is offered as the list to append to, where one is selected.
    std::function<void(const MailList *list)> append;
    /// `address`: what to search the recipients' addresses for; empty for all of them.
    std::function<void(const MailList &list, const QString &address)> browse;
    /// Lists the jobs that use the list in the main window.
    std::function<void(qint64 listId)> findJobs;
};

/// The Maillist Manager: finds, duplicates, renames and deletes lists, and leads to the windows in
/// which they are made and filled. It is made once and hidden between uses.
class frmMgrList final : public CatalogueWindow
{
    Q_OBJECT

public:
    /// `op` must outlive the window.
    frmMgrList(const ProgramFolder &folder, Operator &op, ListCommands commands,
               QWidget *parent = nullptr);
    ~frmMgrList() override;

private:
    void connectCommands();
    void list_refresh() override;
    void enterSelected() override { browse(); }
    void deleteSelected() override;
    void duplicate();
    void edit();
    void append();
    void browse();
    /// Runs `action` on the selected list, where one is selected.
    void withList(const std::function<void(const MailList &)> &action);

    ListCatalogue m_catalogue;
    Operator &m_op;
    ListCommands m_commands;
    std::unique_ptr<Ui::frmMgrList> m_ui;
    std::unique_ptr<frmEditList> m_editor;
};
