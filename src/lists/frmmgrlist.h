#pragma once

#include "listcatalogue.h"

#include <QDialog>

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
class frmMgrList final : public QDialog
{
    Q_OBJECT

public:
    /// `op` must outlive the window.
    frmMgrList(const ProgramFolder &folder, Operator &op, ListCommands commands,
               QWidget *parent = nullptr);
    ~frmMgrList() override;

protected:
    /// Begins every use with all lists, the newest first.
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void connectCommands();
    void list_refresh();
    /// Runs a command that may make a list, and selects the one that it made.
    void selectingNewList(const std::function<void()> &command);
    void duplicate();
    void edit();
    void deleteSelected();
    void append();
    void browse();
    /// Runs `action` on the selected list, where one is selected.
    void withSelected(const std::function<void(const MailList &)> &action);

    ListCatalogue m_catalogue;
    Operator &m_op;
    ListCommands m_commands;
    std::unique_ptr<Ui::frmMgrList> m_ui;
    std::unique_ptr<frmEditList> m_editor;
};
