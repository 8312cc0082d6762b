#pragma once

#include "messagestore.h"

#include "cataloguewindow.h"

#include <functional>
#include <memory>

class Operator;
class ProgramFolder;

namespace Ui
{
class frmMgrMsg;
}

/// What the message catalogue starts in other windows.
struct MessageCommands {
    MessageInUse isInUse;
    /// Shows the editor for a new message; true when one was stored.
    std::function<bool()> create;
    /// Shows the editor for a stored message under `caption`; true when it was saved.
    std::function<bool(qint64 number, const QString &caption)> edit;
    /// Shows the test-send window for a stored message.
    std::function<void(qint64 number)> sendTest;
    /// Lists the jobs that send the message in the main window.
    std::function<void(qint64 number)> findJobs;
};

/// The Email Manager: finds, duplicates and deletes messages, and leads to the windows in which
/// they are written and tried. It is made once and hidden between uses.
class frmMgrMsg final : public CatalogueWindow
{
    Q_OBJECT

public:
    /// `folder` and `op` must outlive the window.
    frmMgrMsg(const ProgramFolder &folder, Operator &op, MessageCommands commands,
              QWidget *parent = nullptr);
    ~frmMgrMsg() override;

private:
    void connectCommands();
    void list_refresh() override;
    void enterSelected() override { edit(); }
    void deleteSelected() override;
    void duplicate();
    void edit();

    const ProgramFolder &m_folder;
    Operator &m_op;
    MessageCommands m_commands;
    std::unique_ptr<Ui::frmMgrMsg> m_ui;
};
