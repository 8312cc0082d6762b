#include "windows.h"

#include "frmemail.h"
#include "frmexport.h"
#include "frmexportdata.h"
#include "frmimport.h"
#include "frmimwebfile.h"
#include "frmmerge.h"
#include "frmmgrlist.h"
#include "frmmgrmsg.h"
#include "frmnewjob.h"
#include "frmnewmail.h"
#include "frmpinfo.h"
#include "frmpreview.h"
#include "frmsend.h"
#include "joblistpanel.h"
#include "listdialogs.h"

#include "connection.h"
#include "jobrow.h"
#include "jobstore.h"
#include "messagestore.h"
#include "operator.h"
#include "passplan.h"
#include "programfolder.h"

#include <QApplication>
#include <QEvent>
#include <QWindow>

namespace
{

/// Keeps a window above the one that it is opened from, which need not be its parent. It does so
/// when the window comes up and has its handle: asking for one before makes the widgets of the main
/// window native, and beside the engine that shows HTML these are not painted.
class AboveOpener final : public QObject
{
public:
    using QObject::QObject;
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Show && !event->spontaneous()) {
            const auto *window = static_cast<QWidget *>(watched);
            const QWidget *modal = QApplication::activeModalWidget();
            const QWidget *opener = modal ? modal : window->parentWidget();
            window->windowHandle()->setTransientParent(opener->windowHandle());
        }
        return false;
    }
};

/// The window, made of these arguments when it is not there yet.
template <typename Window, typename... Arguments>
Window &made(std::unique_ptr<Window> &window, Arguments &&...arguments)
{
    if (!window) {
        window = std::make_unique<Window>(std::forward<Arguments>(arguments)...);
        window->installEventFilter(new AboveOpener(window.get()));
    }
    return *window;
}

} // namespace

Windows::Windows(const MainSeams &seams, JobListPanel &jobs, std::function<SendMail &()> mail,
                 QWidget &owner)
    : m_seams(seams)
    , m_jobs(jobs)
    , m_mail(std::move(mail))
    , m_owner(owner)
    , m_store(seams.folder)
{
}

Windows::~Windows() = default;

Settings Windows::current() const
{
    return options().current();
}

void Windows::showPreview(const JobRow &job, const JobMessage &message)
{
    frmPreview &preview =
        made(m_preview, m_seams.folder, m_seams.op, m_seams.clock, m_seams.makeHtmlView, &m_owner);
    preview.Load_db(m_seams.folder.listConnectionString(job.number(JobCell::MaillistId)),
                    message.format, message.body);
    preview.setSubject(job[JobCell::Subject]);
    preview.exec();
}

frmReport::Command Windows::showReport(const JobRow &job)
{
    bool startSendsRest = false;
    try {
        Connection list(m_seams.folder.listConnectionString(job.number(JobCell::MaillistId)));
        startSendsRest = planOfStart(list, job).kind == RunKind::Resume;
    } catch (const StorageError &) {
        // The window tells why the list cannot be read.
    }
    return made(m_report, m_seams.folder, m_seams.op, m_seams.yield, &m_owner)
        .showJob({job.number(JobCell::Id), job[JobCell::Name], job.number(JobCell::MaillistId),
                  startSendsRest});
}

void Windows::showListManager()
{
    made(m_mgrList, m_seams.folder, m_seams.op, listCommands(), &m_owner).exec();
}

void Windows::showMessageManager()
{
    made(m_mgrMsg, m_seams.folder, m_seams.op, messageCommands(), &m_owner).exec();
}

bool Windows::createList()
{
    const auto import = [this](qint64 listId, const QString &name) {
        importWindow().importInto(listId, name);
    };
    return made(m_newList, m_seams.folder, m_seams.op, import, &m_owner).createList() != 0;
}

void Windows::browseList(qint64 listId, const QString &listName, const QString &address)
{
    frmemail &browser = made(m_browser, m_seams.folder, m_seams.op, &m_owner);
    if (!browser.Load_db(m_seams.folder.listConnectionString(listId), listName, listId))
        return;
    browser.setWindowTitle(
        frmemail::tr("Maillist [ %1-%2 ]").arg(QString::number(listId), listName));
    if (!address.isEmpty())
        browser.search(RecipientQuery::Email, address);
    browser.exec();
}

void Windows::exportRecipients(const QString &listConnectionString, const RecipientQuery &query)
{
    made(m_exportData, m_seams.folder, m_seams.spreadsheet, m_seams.op, m_seams.yield, &m_owner)
        .exportRecords(listConnectionString, query);
}

ListCommands Windows::listCommands()
{
    return {
        .isInUse = &isListInUse,
        .create = [this] { createList(); },
        .import = [this](const MailList &list) { importWindow().importInto(list.id, list.name); },
        .exportList =
            [this](const MailList &list) {
                made(m_export, m_seams.folder, m_seams.spreadsheet, m_seams.op, m_seams.yield,
                     &m_owner)
                    .exportList(list.id, list.name);
            },
        .merge =
            [this] {
                made(m_merge, frmMerge::Kind::Merge, m_seams.folder, m_seams.op, m_seams.yield,
                     &m_owner)
                    .run();
            },
        .append =
            [this](const MailList *list) {
                made(m_append, frmMerge::Kind::Append, m_seams.folder, m_seams.op, m_seams.yield,
                     &m_owner)
                    .run(list ? frmMerge::entry(*list) : QString());
            },
        .browse = [this](const MailList &list,
                         const QString &address) { browseList(list.id, list.name, address); },
        .findJobs =
            [this](qint64 listId) {
                m_jobs.search(JobListPanel::MaillistIdEquals, QString::number(listId));
            },
    };
}

MessageCommands Windows::messageCommands()
{
    return {
        .isInUse = &isMessageInUse,
        .create = [this] { return messageEditor().createMessage(); },
        .edit =
            [this](qint64 number, const QString &caption) {
                const bool isSaved = messageEditor().editMessage(number, caption);
                // The next editing from the list begins with an editor, and a history, of its own.
                m_newMail.reset();
                return isSaved;
            },
        .sendTest =
            [this](qint64 number) {
                made(
                    m_send, m_seams.folder, *this, m_seams.op, [this] { options().exec(); },
                    &m_owner)
                    .sendTest(number, m_mail());
            },
        .findJobs =
            [this](qint64 number) {
                m_jobs.search(JobListPanel::EmailIdEquals, QString::number(number));
            },
    };
}

frmPinfo &Windows::options() const
{
    return made(m_options, m_store, m_seams.op, &m_owner);
}

frmNewJob &Windows::jobEditor()
{
    return made(
        m_newJob, m_seams.folder, m_seams.op, [this] { return createList(); },
        [this] { return messageEditor().createMessage(); }, &m_owner);
}

frmNewMail &Windows::messageEditor()
{
    const auto importWeb = [this] {
        return made(m_imWebFile, m_seams.web, m_seams.op, &m_owner).importDocument();
    };
    return made(m_newMail, m_seams.folder, m_seams.op, m_seams.makeHtmlView, importWeb, &m_owner);
}

frmImport &Windows::importWindow()
{
    return made(m_import, m_seams.folder, m_seams.spreadsheet, m_seams.op, m_seams.yield, &m_owner);
}
