#include "messagepane.h"

#include "connection.h"
#include "operator.h"
#include "programfolder.h"
#include "ui_frameheader.h"

MessagePane::MessagePane(const ProgramFolder &folder, Operator &op, const HtmlViewFactory &makeView,
                         QObject *parent)
    : QObject(parent)
    , m_folder(folder)
    , m_operator(op)
    , m_ui(std::make_unique<Ui::FrameHeader>())
    , m_body(new BodyView(folder.file(QStringLiteral("mview.htm")), makeView,
                          {QStringLiteral("txtSource"), QStringLiteral("WebBrowser1")}))
    , m_header(new QWidget)
{
    m_body->setObjectName(QStringLiteral("fmBody"));
    m_ui->setupUi(m_header);
}

MessagePane::~MessagePane() = default;

void MessagePane::showStartPage()
{
    m_body->showPage(m_folder.file(QStringLiteral("help\\help.htm")));
}

bool MessagePane::loadMessage(qint64 msgid)
{
    m_message = {};
    bool isRead = false;
    try {
        if (msgid != 0) {
            Connection system(m_folder.systemConnectionString());
            m_message = ::loadMessage(system, msgid);
            isRead = true;
        }
    } catch (const StorageError &e) {
        m_operator.tell(e.report(), tr("Error"));
    }
    // Where it failed, nothing: another job's message under this job's name would mislead.
    try {
        showMessage();
    } catch (const StorageError &e) {
        m_operator.tell(e.report(), tr("Error"));
    }
    return isRead;
}

void MessagePane::showMessage()
{
    m_ui->lbmSubject->setText(tr(" Email Subject : ") + m_message.subject);
    m_ui->txtmmSubject->setText(m_message.subject);
    m_ui->txtmSenderName->setText(m_message.senderName);
    m_ui->txtmSendermail->setText(m_message.senderAddress);
    m_ui->txtmReplymail->setText(m_message.replyAddress);
    m_ui->txtmFormat->setText(m_message.format);
    m_ui->txtmAtt01->setText(m_message.attachments[0]);
    m_ui->txtmAtt02->setText(m_message.attachments[1]);
    m_ui->txtmAtt03->setText(m_message.attachments[2]);
    QString all;
    for (const QString &path : m_message.attachmentPaths())
        all += path + QLatin1Char(';');
    m_ui->txtAllAttach->setText(all);
    for (QLineEdit *box : m_header->findChildren<QLineEdit *>())
        box->setCursorPosition(0);
    m_body->showBody(m_message.format, m_message.body);
}
