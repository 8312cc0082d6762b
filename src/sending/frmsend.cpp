#include "frmsend.h"

#include "ui_frmsend.h"

#include "connection.h"
#include "operator.h"
#include "programfolder.h"
#include "sendmail.h"
#include "testsend.h"
#include "waitpointer.h"

frmSend::frmSend(const ProgramFolder &folder, const LiveSettings &settings, Operator &op,
                 std::function<void()> showOptions, QWidget *parent)
    : ButtonDialog(parent)
    , m_ui(std::make_unique<Ui::frmSend>())
    , m_folder(folder)
    , m_settings(settings)
    , m_op(op)
    , m_showOptions(std::move(showOptions))
{
    m_ui->setupUi(this);
    connect(m_ui->cmdSend, &QPushButton::clicked, this, &frmSend::send);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &QWidget::hide);
}

frmSend::~frmSend() = default;

void frmSend::sendTest(qint64 msgid, SendMail &poSendMail2)
{
    try {
        Connection system(m_folder.systemConnectionString());
        m_message = loadMessage(system, msgid);
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
        return;
    }
    m_ui->txtEmail->clear();
    m_ui->txtEmail->setFocus();
    m_ui->lbStatus->clear();
    TestSend test(poSendMail2, m_settings, m_op);
    m_test = &test;
    // The connections end with the use of the component. What became of the message stays in the
    // window, though the component goes on to tell of its farewell to the server.
    connect(&poSendMail2, &SendMail::Status, &test, [this](const QString &text) {
        if (m_isUnderWay)
            m_ui->lbStatus->setText(text);
    });
    const auto end = [this](const QString &outcome) {
        m_isUnderWay = false;
        m_ui->lbStatus->setText(outcome);
    };
    connect(&poSendMail2, &SendMail::SendSuccesful, &test, [end] { end(tr("Send Success !")); });
    connect(&poSendMail2, &SendMail::SendFailed, &test, end);
    exec();
}

void frmSend::reject()
{
    // A program that is told to end does so after the send, which needs its mail component.
    if (m_ui->cmdCancel->isEnabled())
        ButtonDialog::reject();
}

void frmSend::send()
{
    const QString address = m_ui->txtEmail->text();
    const TestSend::Obstacle obstacle = m_test->check(m_message, address);
    if (obstacle == TestSend::Obstacle::NoServer)
        m_showOptions();
    if (obstacle != TestSend::Obstacle::None)
        return;
    m_isUnderWay = true;
    setSending(true);
    const bool isSent = m_test->send(m_message, address);
    setSending(false);
    if (isSent) {
        m_op.tell(tr("Send success !"));
        hide();
    }
    m_quit.repeat();
}

/// The window lives while the server is slow, but nothing can be pressed.
void frmSend::setSending(bool isSending)
{
    m_ui->cmdCancel->setEnabled(!isSending);
    m_ui->cmdSend->setEnabled(!isSending);
    showWaiting(*this, isSending);
}
