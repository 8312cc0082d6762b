#include "windows.h"

#include "frmemail.h"
#include "frmexport.h"
#include "frmexportdata.h"
#include "frmimport.h"
#include "frmmerge.h"
#include "frmmgrlist.h"
#include "frmnewjob.h"
#include "frmnewlist.h"
#include "frmpinfo.h"
#include "frmpreview.h"
#include "jobmessage.h"
#include "jobrow.h"

#include "operator.h"
#include "programfolder.h"

Windows::Windows(const ProgramFolder &folder, Operator &op, const Clock &clock, Yield &yield,
                 Spreadsheet &spreadsheet, const HtmlViewFactory &makeHtmlView, QWidget &owner)
    : m_folder(folder)
    , m_operator(op)
    , m_clock(clock)
    , m_yield(yield)
    , m_spreadsheet(spreadsheet)
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
    if (!m_listManager)
        m_listManager =
            std::make_unique<frmMgrList>(m_folder, m_operator, listCommands(), &m_owner);
    m_listManager->exec();
}

void Windows::showMessageManager()
{
    tellNotBuilt(tr("The email manager"));
}

bool Windows::createList()
{
    return newList().createList() != 0;
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

void Windows::browseList(qint64 listId, const QString &listName, const QString &address)
{
    if (!m_browser)
        m_browser = std::make_unique<frmemail>(m_folder, m_operator, &m_owner);
    if (!m_browser->Load_db(m_folder.listConnectionString(listId), listName, listId))
        return;
    m_browser->setWindowTitle(tr("Maillist [ %1-%2 ]").arg(QString::number(listId), listName));
    if (!address.isEmpty())
        m_browser->search(RecipientQuery::Email, address);
    m_browser->exec();
}

void Windows::exportRecipients(const QString &listConnectionString, const RecipientQuery &query)
{
    if (!m_exportData)
        m_exportData =
            std::make_unique<frmExportData>(m_folder, m_spreadsheet, m_operator, m_yield, &m_owner);
    m_exportData->exportRecords(listConnectionString, query);
}

ListCommands Windows::listCommands()
{
    return {
        .create = [this] { createList(); },
        .import = [this](const MailList &list) { import().importInto(list.id, list.name); },
        .exportList =
            [this](const MailList &list) {
                if (!m_export)
                    m_export = std::make_unique<frmExport>(m_folder, m_spreadsheet, m_operator,
                                                           m_yield, &m_owner);
                m_export->exportList(list.id, list.name);
            },
        .merge = [this] { merge().run(); },
        .append =
            [this](const MailList *list) {
                append().run(list ? frmMerge::entry(*list) : QString());
            },
        .browse = [this](const MailList &list,
                         const QString &address) { browseList(list.id, list.name, address); },
        .findJobs = [this](qint64 listId) { emit jobsOfListWanted(listId); },
    };
}

void Windows::unload()
{
    m_listManager.reset();
    m_newList.reset();
    m_import.reset();
    m_newJob.reset();
    m_options.reset();
    m_export.reset();
    m_exportData.reset();
    m_merge.reset();
    m_append.reset();
    m_browser.reset();
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

frmNewList &Windows::newList()
{
    if (!m_newList)
        m_newList = std::make_unique<frmNewList>(
            m_folder, m_operator,
            [this](qint64 listId, const QString &name) { import().importInto(listId, name); },
            &m_owner);
    return *m_newList;
}

frmImport &Windows::import()
{
    if (!m_import)
        m_import =
            std::make_unique<frmImport>(m_folder, m_spreadsheet, m_operator, m_yield, &m_owner);
    return *m_import;
}

frmMerge &Windows::merge()
{
    if (!m_merge)
        m_merge = std::make_unique<frmMerge>(frmMerge::Kind::Merge, m_folder, m_operator, m_yield,
                                             &m_owner);
    return *m_merge;
}

frmMerge &Windows::append()
{
    if (!m_append)
        m_append = std::make_unique<frmMerge>(frmMerge::Kind::Append, m_folder, m_operator, m_yield,
                                              &m_owner);
    return *m_append;
}

void Windows::tellNotBuilt(const QString &what)
{
    m_operator.tell(tr("%1 is not built yet.").arg(what));
}
