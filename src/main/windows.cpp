#include "windows.h"

#include "frmnewjob.h"
#include "frmpinfo.h"
#include "frmpreview.h"
#include "jobmessage.h"
#include "jobrow.h"

#include "operator.h"
#include "programfolder.h"

Windows::Windows(const ProgramFolder &folder, Operator &op, const Clock &clock,
                 const HtmlViewFactory &makeHtmlView, QWidget &owner)
    : m_folder(folder)
    , m_operator(op)
    , m_clock(clock)
    , m_makeHtmlView(makeHtmlView)
    , m_owner(owner)
    , m_store(folder)
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
            std::make_unique<frmPreview>(m_folder, m_operator, m_clock, m_makeHtmlView, &m_owner);
    m_preview->Load_db(m_folder.listConnectionString(job.number(JobCell::MaillistId)),
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
    tellNotBuilt(tr("The email manager"));
}

bool Windows::createList()
{
    tellNotBuilt(tr("The window for a new maillist"));
    return false;
}

bool Windows::createMessage()
{
    tellNotBuilt(tr("The email editor"));
    return false;
}

bool Windows::editMessage(qint64)
{
    tellNotBuilt(tr("The email editor"));
    return false;
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
    m_newJob.reset();
    m_options.reset();
    m_preview.reset();
}

frmPinfo &Windows::options() const
{
    if (!m_options)
        m_options = std::make_unique<frmPinfo>(m_store, m_operator, &m_owner);
    return *m_options;
}

frmNewJob &Windows::jobEditor()
{
    if (!m_newJob)
        m_newJob = std::make_unique<frmNewJob>(
            m_folder, m_operator, [this] { return createList(); },
            [this] { return createMessage(); }, &m_owner);
    return *m_newJob;
}

void Windows::tellNotBuilt(const QString &what)
{
    m_operator.tell(tr("%1 is not built yet.").arg(what));
}
