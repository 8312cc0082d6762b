#include "windows.h"

#include "frmimwebfile.h"
#include "frmmgrmsg.h"
#include "frmnewjob.h"
#include "frmnewmail.h"
#include "frmpinfo.h"
#include "frmpreview.h"
#include "frmsend.h"
#include "joblistpanel.h"

#include "jobmessage.h"
#include "jobrow.h"
#include "operator.h"
#include "programfolder.h"

Windows::Windows(const MainSeams &seams, JobListPanel &jobs, std::function<SendMail &()> mail,
                 QWidget &owner)
    : m_seams(seams), m_jobs(jobs), m_mail(std::move(mail)), m_owner(owner), m_store(seams.folder)
{
}

Windows::~Windows()
{
    unload();
}

Settings Windows::current() const
{
    return options().current();
}

void Windows::showOptions()
{
    options().exec();
}

bool Windows::createJob()
{
    return jobEditor().createJob();
}

bool Windows::editJob(const JobRow &job)
{
    return jobEditor().editJob(job);
}

void Windows::showPreview(const JobRow &job, const JobMessage &message)
{
    if (!m_preview)
        m_preview =
            std::make_unique<frmPreview>(m_seams.folder, m_seams.op, m_seams.clock, m_seams.makeHtmlView, &m_owner);
    m_preview->Load_db(m_seams.folder.listConnectionString(job.number(JobCell::MaillistId)),
                       message.format, message.body);
    m_preview->setSubject(job[JobCell::Subject]);
    m_preview->exec();
}

void Windows::showListManager()
{
    tellNotBuilt(tr("The maillist manager"));
}

void Windows::showMessageManager()
{
    if (!m_mgrMsg) {
        const MessageCommands commands = {
            .create = [this] { return createMessage(); },
            .edit = [this](qint64 number,
                           const QString &caption) { return editMessage(number, caption); },
            .sendTest = [this](qint64 number) { sendTest(number); },
            .findJobs =
                [this](qint64 number) {
                    m_jobs.search(JobListPanel::EmailIdEquals, QString::number(number));
                },
        };
        m_mgrMsg = std::make_unique<frmMgrMsg>(m_seams.folder, m_seams.op, commands, &m_owner);
    }
    m_mgrMsg->exec();
}

bool Windows::createList()
{
    tellNotBuilt(tr("The window for a new maillist"));
    return false;
}

bool Windows::createMessage()
{
    return messageEditor().createMessage();
}

bool Windows::editMessage(qint64 messageId, const QString &caption)
{
    return messageEditor().editMessage(messageId, caption);
}

void Windows::sendTest(qint64 messageId)
{
    if (!m_send)
        m_send = std::make_unique<frmSend>(
            m_seams.folder, *this, m_seams.op, [this] { showOptions(); }, &m_owner);
    m_send->sendTest(messageId, m_mail());
}

void Windows::browseList(qint64, const QString &)
{
    tellNotBuilt(tr("The maillist browser"));
}

void Windows::exportRecipients()
{
    tellNotBuilt(tr("The export of recipients"));
}

void Windows::unload()
{
    m_newMail.reset();
    m_mgrMsg.reset();
    m_newJob.reset();
    m_options.reset();
    m_imWebFile.reset();
    m_send.reset();
    m_preview.reset();
}

frmPinfo &Windows::options() const
{
    if (!m_options)
        m_options = std::make_unique<frmPinfo>(m_store, m_seams.op, &m_owner);
    return *m_options;
}

frmNewJob &Windows::jobEditor()
{
    if (!m_newJob)
        m_newJob = std::make_unique<frmNewJob>(
            m_seams.folder, m_seams.op, [this] { return createList(); },
            [this] { return createMessage(); }, &m_owner);
    return *m_newJob;
}

frmNewMail &Windows::messageEditor()
{
    if (!m_newMail)
        m_newMail = std::make_unique<frmNewMail>(
            m_seams.folder, m_seams.op, m_seams.makeHtmlView,
            [this] { return webImport().importDocument(); }, &m_owner);
    return *m_newMail;
}

frmImWebFile &Windows::webImport()
{
    if (!m_imWebFile)
        m_imWebFile = std::make_unique<frmImWebFile>(m_seams.web, m_seams.op, &m_owner);
    return *m_imWebFile;
}

void Windows::tellNotBuilt(const QString &what)
{
    m_seams.op.tell(tr("%1 is not built yet.").arg(what));
}
