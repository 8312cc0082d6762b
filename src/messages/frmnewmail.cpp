#include "frmnewmail.h"

#include "ui_frmnewmail.h"

#include "bodyedit.h"
#include "bodyfile.h"
#include "connection.h"
#include "operator.h"
#include "programfolder.h"
#include "scratchpage.h"
#include "sourceeditor.h"
#include "storageerror.h"
#include "waitpointer.h"
#include "windowlayout.h"

#include <algorithm>

frmNewMail::frmNewMail(const ProgramFolder &folder, Operator &op, const HtmlViewFactory &makeView,
                       ImportWeb importWeb, QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::WindowMinMaxButtonsHint | Qt::WindowCloseButtonHint)
    , m_ui(std::make_unique<Ui::frmNewMail>())
    , m_folder(folder)
    , m_op(op)
    , m_importWeb(std::move(importWeb))
{
    m_ui->setupUi(this);
    m_attachments = {m_ui->txtAtt01, m_ui->txtAtt02, m_ui->txtAtt03};
    m_source = new SourceEditor(op, this);
    m_ui->sourceLayout->addWidget(m_source);
    m_browser = makeView(m_ui->fmPreview);
    m_browser->setObjectName(QStringLiteral("WebBrowser1"));
    m_browser->setAccessibleName(tr("Email preview"));
    m_ui->previewLayout->addWidget(m_browser);
    // From the subject Tab goes on to the body, past the tools.
    setTabOrder(m_ui->txtSubject, &m_source->text());
    m_ui->TabStrip1->addTab(tr("S&ource"));
    m_ui->TabStrip1->addTab(tr("&Preview"));
    m_ui->TabStrip1->addTab(tr("&Attachment"));
    connectControls();
    restoreWindowLayout(*this);
}

frmNewMail::~frmNewMail() = default;

void frmNewMail::connectControls()
{
    connect(m_ui->cmdOK, &QPushButton::clicked, this, &frmNewMail::save);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &frmNewMail::reject);
    connect(m_ui->cmdOpen, &QPushButton::clicked, this, &frmNewMail::importFile);
    connect(m_ui->cmdWeb, &QPushButton::clicked, this, &frmNewMail::importUrl);
    connect(m_source, &SourceEditor::openRequested, this, &frmNewMail::importFile);
    connect(m_source, &SourceEditor::openWebRequested, this, &frmNewMail::importUrl);
    connect(m_ui->TabStrip1, &QTabBar::currentChanged, this, &frmNewMail::showTab);
    connect(m_ui->TabStrip1, &QTabBar::tabBarClicked, this, [this](int tab) {
        if (tab == m_ui->TabStrip1->currentIndex())
            showTab();
    });
    connect(m_ui->combFormat, &QComboBox::currentIndexChanged, this, &frmNewMail::showTab);

    const std::array<QPushButton *, 3> buttons = {m_ui->cmdAtt01, m_ui->cmdAtt02, m_ui->cmdAtt03};
    for (size_t i = 0; i < buttons.size(); ++i) {
        connect(buttons[i], &QPushButton::clicked, this, [this, i] { browse(i); });
        connect(m_attachments[i], &QLineEdit::textChanged, this, [this] {
            const bool any = std::any_of(m_attachments.begin(), m_attachments.end(),
                                         [](auto *box) { return !box->text().isEmpty(); });
            m_ui->TabStrip1->setTabIcon(
                Attachment, any ? QIcon::fromTheme(QStringLiteral("mail-attachment")) : QIcon());
        });
    }
}

bool frmNewMail::createMessage()
{
    ResetFields();
    SetAttribute(false);
    return run();
}

bool frmNewMail::editMessage(qint64 msgid, const QString &caption)
{
    SetAttribute(true);
    if (!caption.isEmpty())
        // "[*]" marks a changed document in a title; here it means itself.
        setWindowTitle(QString(caption).replace(QStringLiteral("[*]"), QStringLiteral("[*][*]")));
    return Get_Msg(msgid) && run();
}

void frmNewMail::ResetFields()
{
    JobMessage nothing;
    nothing.format = QStringLiteral("TEXT");
    setFields(nothing);
}

void frmNewMail::SetAttribute(bool edit)
{
    m_edit = edit;
    setWindowTitle(edit ? tr("Edit Email") : tr("Create Email"));
    m_ui->cmdOK->setText(edit ? tr("&Save") : tr("&Create"));
}

bool frmNewMail::Get_Msg(qint64 msgid)
{
    const QString loadError = QStringLiteral("Get_Msg :  Error # ");
    m_msgid = msgid;
    try {
        const WaitPointer pointer; // a long body is laid out at once
        Connection system(m_folder.systemConnectionString());
        setFields(loadMessage(system, msgid));
    } catch (const StorageError &e) {
        m_op.tell(e.report(loadError), tr("Error"));
        return false;
    }
    if (isHtml())
        renderPreview(loadError);
    return true;
}

void frmNewMail::setFields(const JobMessage &message)
{
    m_ui->TabStrip1->setCurrentIndex(Source);
    m_ui->txtSubject->setText(message.subject);
    m_ui->txtSendername->setText(message.senderName);
    m_ui->txtSendermail->setText(message.senderAddress);
    m_ui->txtReplymail->setText(message.replyAddress);
    const bool isText = message.format == QLatin1String("TEXT");
    m_ui->combFormat->setCurrentText(isText ? QStringLiteral("TEXT") : QStringLiteral("HTML"));
    for (size_t i = 0; i < m_attachments.size(); ++i)
        m_attachments[i]->setText(message.attachments[i]);
    m_source->text().setBody(message.body);
    m_shown = fields();
}

JobMessage frmNewMail::fields() const
{
    JobMessage message{.subject = m_ui->txtSubject->text(),
                       .senderName = m_ui->txtSendername->text(),
                       .senderAddress = m_ui->txtSendermail->text(),
                       .replyAddress = m_ui->txtReplymail->text(),
                       .format = m_ui->combFormat->currentText(),
                       .attachments = {},
                       .body = m_source->text().body()};
    for (size_t i = 0; i < m_attachments.size(); ++i)
        message.attachments[i] = m_attachments[i]->text();
    return message;
}

bool frmNewMail::run()
{
    m_ui->txtSendername->setFocus();
    return exec() == Accepted;
}

void frmNewMail::done(int result)
{
    saveWindowLayout(*this);
    QDialog::done(result);
}

void frmNewMail::reject()
{
    enum Answer { Save, Discard, Cancel };
    const int answer =
        fields() == m_shown
            ? Discard
            : m_op.choose(tr("The email has changes that are not saved yet."), tr("Email Manager"),
                          {tr("&Save"), tr("&Discard"), tr("Cancel")}, Save);
    if (answer == Save)
        save();
    else if (answer == Discard)
        QDialog::reject();
}

void frmNewMail::save()
{
    if (!isComplete())
        return;
    try {
        if (m_edit)
            updateMessage(m_folder, m_msgid, fields());
        else
            m_msgid = insertMessage(m_folder, fields());
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
        return;
    }
    accept();
}

/// Tells what is missing, and leads there.
bool frmNewMail::isComplete()
{
    struct Check {
        QLineEdit *box;
        bool failed;
        QString message;
    };
    const QString address = m_ui->txtSendermail->text();
    const Check checks[] = {
        {m_ui->txtSubject, m_ui->txtSubject->text().isEmpty(), tr("Subject cannot be empty !")},
        {m_ui->txtSendername, m_ui->txtSendername->text().isEmpty(),
         tr("Sender Name cannot be empty !")},
        {m_ui->txtSendermail, address.isEmpty(), tr("Sender Email cannot be empty !")},
        {m_ui->txtSendermail, !address.contains(QLatin1Char('@')), tr("Invalid Sender Email !")},
    };
    for (const Check &check : checks) {
        if (check.failed) {
            m_op.tell(check.message, tr("Email Manager"));
            check.box->setFocus();
            return false;
        }
    }
    return true;
}

bool frmNewMail::isHtml() const
{
    return m_ui->combFormat->currentText() == QLatin1String("HTML");
}

/// A plain text has no preview other than itself.
void frmNewMail::showTab()
{
    const int tab = m_ui->TabStrip1->currentIndex();
    if (tab == Attachment) {
        m_ui->frames->setCurrentWidget(m_ui->fmAttachment);
    } else if (tab == Preview && isHtml()) {
        m_ui->frames->setCurrentWidget(m_ui->fmPreview);
        renderPreview();
    } else {
        m_ui->frames->setCurrentWidget(m_ui->fmSource);
    }
}

void frmNewMail::renderPreview(const QString &errorPrefix)
{
    const QString page = m_folder.file(QStringLiteral("source.htm"));
    try {
        writeScratchPage(page, m_source->text().body());
    } catch (const StorageError &e) {
        m_op.tell(e.report(errorPrefix), tr("Error"));
        return;
    }
    m_browser->showFile(page);
}

void frmNewMail::browse(size_t attachment)
{
    const QString path = m_op.openFile(tr("Attachement %1").arg(attachment + 1),
                                       QStringLiteral("All(*.*)|*.*"), m_folder.path());
    if (!path.isEmpty())
        m_attachments[attachment]->setText(path);
}

/// Puts another body in the place of what was written; false when the person would rather not.
bool frmNewMail::replaceBody(const QString &body)
{
    if (!m_source->text().body().isEmpty() &&
        !m_op.ask(tr("Replace the body that is there? Undo brings it back."), tr("Email Manager")))
        return false;
    const WaitPointer pointer; // a long body takes its time to be laid out
    m_source->text().setBody(body);
    return true;
}

void frmNewMail::importFile()
{
    const QString path = m_op.openFile(
        tr("Open File"), QStringLiteral("TXT/HTM (*.txt;*.htm;*.html)|*.txt;*.htm;*.html"));
    if (path.isEmpty())
        return;
    try {
        if (replaceBody(readBodyFile(path)))
            showTab();
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
    }
}

void frmNewMail::importUrl()
{
    const auto document = m_importWeb();
    if (!document || !replaceBody(*document))
        return;
    m_ui->combFormat->setCurrentText(QStringLiteral("HTML"));
    renderPreview();
}
