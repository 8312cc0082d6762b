#pragma once

#include "dialogs.h"
#include "messagestore.h"

#include <functional>
#include <memory>

class LiveSettings;
class Operator;
class ProgramFolder;
class SendMail;
class TestSend;

namespace Ui
{
class frmSend;
}

/// The test-send window: one stored message to one typed address, before a job sends it to a list.
/// It is made once and hidden between uses.
class frmSend final : public ButtonDialog
{
    Q_OBJECT

public:
    /// `showOptions` shows the Options window until it is left. All of them must outlive the
    /// window.
    frmSend(const ProgramFolder &folder, const LiveSettings &settings, Operator &op,
            std::function<void()> showOptions, QWidget *parent = nullptr);
    ~frmSend() override;

    /// Shows the window for message `msgid` until it is left. `poSendMail2` is the program's
    /// one mail component: its events reach this window too while it is shown.
    void sendTest(qint64 msgid, SendMail &poSendMail2);

    void reject() override;

private:
    void send();
    void setSending(bool isSending);

    std::unique_ptr<Ui::frmSend> m_ui;
    const ProgramFolder &m_folder;
    const LiveSettings &m_settings;
    Operator &m_op;
    std::function<void()> m_showOptions;
    JobMessage m_message;
    TestSend *m_test = nullptr; ///< while the window is shown
    bool m_isUnderWay = false;  ///< no outcome yet
};
