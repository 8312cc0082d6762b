#include "mainwindow.h"

#include "frmnewjob.h"
#include "frmnewmail.h"
#include "frmpinfo.h"
#include "frmsplash.h"
#include "joblistpanel.h"
#include "maillistpanel.h"
#include "messagepane.h"
#include "previewwidget.h"
#include "quietoperator.h"
#include "runscreen.h"
#include "ui_mainwindow.h"
#include "windowlayout.h"
#include "windows.h"

#include "jobstore.h"
#include "operator.h"
#include "programfolder.h"
#include "runrecord.h"
#include "sendmail.h"
#include "sendrun.h"
#include "yield.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QScrollArea>
#include <QUrl>

namespace
{

using namespace std::chrono_literals;

const QString homepage = QStringLiteral("https://quillbright.example/");

/// The page with scroll bars where there is no room for it, as on a small screen.
QWidget *scrolled(QWidget *page)
{
    auto *area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    area->setWidgetResizable(true);
    area->setWidget(page);
    return area;
}

enum Tab { General, Details, Maillist, Preview };

const QString splitterKey = QStringLiteral("Main/splitter");

} // namespace

Main::Main(const MainSeams &seams)
    : m_seams(seams)
    , m_ui(std::make_unique<Ui::Main>())
{
    m_ui->setupUi(this);
    Timer2.setSingleShot(true);
    Timer2.setInterval(100ms);
    m_screen = std::make_unique<RunScreen>(*m_ui->StatusBar1, *m_ui->ProgressBar1, *this);
    m_quiet = std::make_unique<QuietOperator>(m_seams.op, *m_screen);
    addPanels();
    m_windows = std::make_unique<Windows>(
        m_seams, *m_jobs, [this]() -> SendMail & { return *poSendMail; }, *this);
    addToolbar();
    connectCommands();
    connectPanels();
    enableJobCommands(false); // nothing can be started before a job was looked at
}

Main::~Main() = default;

void Main::addPanels()
{
    m_jobs = new JobListPanel(m_seams.folder, *m_quiet, m_ui->jobListArea);
    m_ui->jobListLayout->addWidget(m_jobs);
    m_message = std::make_unique<MessagePane>(m_seams.folder, *m_quiet, m_seams.makeHtmlView);
    m_maillist = new MaillistPanel(*m_quiet, this);
    m_preview = new PreviewWidget(m_seams.folder, *m_quiet, m_seams.clock, m_seams.makeHtmlView,
                                  {QStringLiteral("Text1"), QStringLiteral("WebBrowser2")}, this);
    m_preview->setObjectName(QStringLiteral("fmPreview"));
    m_preview->addToolbar([this] { showPreview(); });
    m_ui->TabStrip1->addTab(m_message->body(), tr("General"));
    m_ui->TabStrip1->addTab(scrolled(m_message->header()), tr("Details"));
    m_ui->TabStrip1->addTab(scrolled(m_maillist), tr("Maillist"));
    m_ui->TabStrip1->addTab(scrolled(m_preview), tr("Preview"));
    auto *list = m_jobs->findChild<QWidget *>(QStringLiteral("lvTask"));
    setTabOrder(list, m_ui->cmdEditMail);
    list->setFocus();
    m_ui->splitter->handle(1)->setObjectName(QStringLiteral("Picture2"));
    // On a larger window the selected job gets the larger part of what there is more.
    m_ui->splitter->setStretchFactor(0, 1);
    m_ui->splitter->setStretchFactor(1, 2);
    m_ui->splitter->setSizes({240, 420});
}

void Main::addToolbar()
{
    struct Button {
        const char *key;
        QString toolTip;
        const char *icon;
        std::function<void()> action;
    };
    const std::vector<Button> buttons = {
        {"Job Manager", tr("Create new Job to send email"), "document-new", [this] { newJob(); }},
        {"List Manager", tr("Manage your email list"), "x-office-address-book",
         [this] { m_windows->showListManager(); }},
        {"Mail Manager", tr("Manage your email content"), "mail-message",
         [this] { m_windows->showMessageManager(); }},
        {nullptr, {}, nullptr, {}},
        {"Edit", tr("Edit the selected Job from the Job list"), "document-edit",
         [this] { editJob(); }},
        {"Delete", tr("Delete the selected Job from the Job list"), "edit-delete",
         [this] { m_jobs->deleteJob(); }},
        {"Add", tr("Create new Job to send email"), "list-add", [this] { newJob(); }},
        {nullptr, {}, nullptr, {}},
        {"Start", tr("Start to send email"), "media-playback-start", [this] { startRun(false); }},
        {"Pause", tr("Pause the current sending job"), "media-playback-pause",
         [this] { pauseRun(); }},
        {"Reset", tr("Reset the status of the selected Job"), "edit-undo",
         [this] { m_jobs->resetJob(); }},
        {"Resend Fail", tr("Resend fail email of the selected job"), "mail-send",
         [this] { startRun(true); }},
        {nullptr, {}, nullptr, {}},
        {"Options", {}, "configure", [this] { m_windows->options().exec(); }},
        {"Help", {}, "help-contents", [this] { m_ui->mmHHelp->trigger(); }},
    };
    for (const Button &button : buttons) {
        if (!button.key) {
            m_ui->Toolbar1->addSeparator();
            continue;
        }
        auto *action = m_ui->Toolbar1->addAction(QIcon::fromTheme(QString::fromLatin1(button.icon)),
                                                 QString::fromLatin1(button.key));
        action->setObjectName(QString::fromLatin1(button.key));
        action->setToolTip(button.toolTip);
        connect(action, &QAction::triggered, this, button.action);
    }
}

void Main::connectCommands()
{
    const auto onTriggered = [this](QAction *action, auto slot) {
        connect(action, &QAction::triggered, this, slot);
    };
    for (QAction *action : {m_ui->mnfNewJob, m_ui->mmENewJob})
        onTriggered(action, [this] { newJob(); });
    for (QAction *action : {m_ui->mnfNewMaillist, m_ui->mnEEMaillist})
        onTriggered(action, [this] { m_windows->showListManager(); });
    for (QAction *action : {m_ui->mnfNewEmail, m_ui->mnEEmail})
        onTriggered(action, [this] { m_windows->showMessageManager(); });
    onTriggered(m_ui->mnExit, [this] { close(); });
    onTriggered(m_ui->mnEEditJob, [this] { editJob(); });
    onTriggered(m_ui->mnEDeleteJob, [this] { m_jobs->deleteJob(); });
    onTriggered(m_ui->mmJStart, [this] { startRun(false); });
    onTriggered(m_ui->mmJStop, [this] { pauseRun(); });
    onTriggered(m_ui->mmJSendFail, [this] { startRun(true); });
    onTriggered(m_ui->mmJReset, [this] { m_jobs->resetJob(); });
    onTriggered(m_ui->mmJReport, [this] { showReport(); });
    onTriggered(m_ui->mmHAbout, [this] { frmSplash(this).showAbout(); });
    onTriggered(m_ui->mmHHelp, [this] {
        openPage(QUrl::fromLocalFile(m_seams.folder.file(QStringLiteral("help\\index.html"))));
    });
    onTriggered(m_ui->mmHHomepage, [this] { openPage(QUrl(homepage)); });
    onTriggered(m_ui->mnHOptions, [this] { m_windows->options().exec(); });
    m_jobs->addCommands({m_ui->mmJStart, m_ui->mmJSendFail, m_ui->mmJReport, m_ui->mmJReset,
                         m_ui->mnEEditJob, m_ui->mnEDeleteJob});
}

void Main::connectPanels()
{
    connect(m_jobs, &JobListPanel::jobSelected, this, &Main::showJob);
    connect(m_ui->TabStrip1, &QTabWidget::currentChanged, this, &Main::showTab);
    connect(m_maillist, &MaillistPanel::refreshRequested, this, &Main::showTab);
    connect(m_maillist, &MaillistPanel::editRequested, this, &Main::browseList);
    connect(m_maillist, &MaillistPanel::exportRequested, this, [this] { exportRecipients(); });
    connect(m_preview, &PreviewWidget::positionChanged, this,
            [this](qsizetype position, qsizetype count) {
                if (!m_run->isRunning())
                    m_screen->setText(RunScreen::Current,
                                      tr("Record: %1/%2").arg(position).arg(count));
            });
    connect(m_ui->cmdEditMail, &QPushButton::clicked, this, &Main::editMessage);
    connect(m_ui->cmdPreview, &QPushButton::clicked, this, &Main::showPreview);
    connect(m_screen.get(), &RunScreen::rowChanged, m_jobs, &JobListPanel::updateRow);
    connect(m_screen.get(), &RunScreen::runningChanged, this, [this](bool running) {
        m_quiet->setQuiet(running);
        m_jobs->setRunning(running);
        enableCommands(!running);
        enableJobCommands(!running && m_jobs->selectedJob());
    });
    connect(m_screen.get(), &RunScreen::optionsWanted, this,
            [this] { m_windows->options().exec(); });
    connect(&Timer2, &QTimer::timeout, this, [this] {
        if (m_jobs->isFilled() && m_jobs->count() == 0)
            newJob();
    });
}

void Main::load()
{
    frmSplash().showAtStart();
    m_seams.yield.yield();
    m_seams.yield.yield();
    poSendMail = m_seams.makeMail();
    connect(poSendMail.get(), &SendMail::Status, this, [this](const QString &text) {
        // What is over need not be told for ever.
        m_screen->setText(RunScreen::Transport,
                          text == QLatin1String("Disconnected") ? QString() : text);
    });
    m_run = std::make_unique<SendRun>(m_seams.folder, *poSendMail, *m_windows, m_seams.op,
                                      *m_screen, m_seams.clock, m_seams.yield);
    restoreWindowLayout(*this, *m_jobs);
    m_ui->splitter->restoreState(layoutStore().value(splitterKey).toByteArray());
    recoverRuns();
    m_jobs->list_refresh();
    m_message->showStartPage();
    show();
    Timer2.start();
}

/// Who may have got a message when the program was cut off is told at once.
void Main::recoverRuns()
{
    QStringList names;
    QString doubts;
    for (const CutOffRun &run : recoverInterruptedRuns(m_seams.folder)) {
        names += run.jobName;
        if (!run.inDoubt.isEmpty())
            doubts += tr("\n%1 (job [%2])").arg(run.inDoubt, run.jobName);
    }
    if (!names.isEmpty())
        m_screen->setText(RunScreen::Transport,
                          tr("Interrupted, now paused: %1").arg(names.join(QStringLiteral(", "))));
    if (!doubts.isEmpty())
        m_seams.op.tell(tr("The program was interrupted while a message was on its way. These may "
                           "have got it; they are marked \"In doubt\" and are not sent it again "
                           "unless you say so:\n") +
                            doubts,
                        tr("Job Manager"));
}

void Main::newJob()
{
    m_jobs->selectNew([this] { return m_windows->jobEditor().createJob(); });
}

void Main::editJob()
{
    withSelectedJob([this](const JobRow &job) {
        const int row = m_jobs->selectedRow();
        if (!m_windows->jobEditor().editJob(job))
            return;
        m_jobs->list_refresh();
        m_jobs->selectRow(row);
    });
}

void Main::startRun(bool failedOnly)
{
    withSelectedJob([this, failedOnly](const JobRow &job) {
        const auto answer = failedOnly ? Repeat::Failed : askToRepeat(job);
        // The message as it is now: it may have been edited since it was shown.
        if (answer != Repeat::Nobody && m_message->loadMessage(job.number(JobCell::EmailId)))
            m_run->start(job, m_message->message(), answer == Repeat::Failed);
    });
    if (m_closeAfterRun)
        close();
    else
        showTab(); // who has had the email by now
}

/// Whom to mail where a start would mail people again; otherwise everybody whose turn it is.
Main::Repeat Main::askToRepeat(const JobRow &job)
{
    try {
        const auto counts = repeatOf(m_seams.folder, job);
        if (!counts)
            return Repeat::All;
        const QLocale locale;
        return Repeat(m_seams.op.choose(
            tr("Everybody on the list gets this email again: %1 have had it, %2 have not.")
                .arg(locale.toString(counts->had), locale.toString(counts->haveNot)),
            tr("Start Job"), {tr("Resend Fail"), tr("Send to all"), tr("Cancel")},
            int(Repeat::Nobody)));
    } catch (const StorageError &e) {
        m_seams.op.tell(e.report(), tr("Error"));
        return Repeat::Nobody;
    }
}

void Main::pauseRun()
{
    m_run->requestPause();
    showJob(m_jobs->selectedJob());
}

void Main::enableCommands(bool enabled)
{
    for (const QMenu *menu : {m_ui->mmFile, m_ui->mmEdit, m_ui->mmJob, m_ui->mmHelp}) {
        for (QAction *action : menu->actions())
            action->setEnabled(enabled);
    }
    for (QAction *action : m_ui->Toolbar1->actions())
        action->setEnabled(enabled || action->objectName() == QLatin1String("Pause"));
    // The menu's key, while the menu is disabled.
    m_ui->Toolbar1->findChild<QAction *>(QStringLiteral("Pause"))
        ->setShortcut(enabled ? QKeySequence() : m_ui->mmJStop->shortcut());
}

/// Start, the report, and the commands beside the job's tabs. Each of these opens a window, which
/// would hold up a run.
void Main::enableJobCommands(bool enabled)
{
    m_ui->Toolbar1->findChild<QAction *>(QStringLiteral("Start"))->setEnabled(enabled);
    m_ui->mmJReport->setEnabled(enabled);
    m_maillist->enableCommands(enabled);
    m_preview->findChild<QAction *>(QStringLiteral("Preview"))->setEnabled(enabled);
    m_ui->cmdPreview->setEnabled(enabled);
    m_ui->cmdEditMail->setEnabled(enabled);
}

void Main::openPage(const QUrl &address)
{
    if (!QDesktopServices::openUrl(address))
        m_seams.op.tell(
            tr("No browser could be started. The page is %1")
                .arg(address.isLocalFile() ? address.toLocalFile() : address.toString()));
}

void Main::showJob(const std::optional<JobRow> &job)
{
    if (!m_run->isRunning())
        enableJobCommands(job.has_value());
    const JobRow row = job.value_or(JobRow());
    m_screen->showJob(row.number(JobCell::Id));
    m_maillist->resetSearch();
    m_ui->lbJob->setText(
        job ? tr("Selected Job : %1 - %2").arg(row[JobCell::Id], row[JobCell::Name])
            : tr("Welcome - No Job Selected"));
    m_ui->lbMailList->setText(
        job ? tr("Maillist : %1-%2").arg(row[JobCell::MaillistId], row[JobCell::Maillist])
            : QString());
    m_message->loadMessage(row.number(JobCell::EmailId));
    showTab();
}

void Main::showTab()
{
    const auto job = m_jobs->selectedJob();
    const QString list =
        job ? m_seams.folder.listConnectionString(job->number(JobCell::MaillistId)) : QString();
    if (m_ui->TabStrip1->currentIndex() == Maillist)
        m_maillist->Load_db(list);
    else if (m_ui->TabStrip1->currentIndex() == Preview)
        m_preview->Load_prev_db(list, m_message->message().format, m_message->message().body);
    if (!m_run->isRunning() && (!job || m_ui->TabStrip1->currentIndex() != Preview))
        m_screen->setText(RunScreen::Current, {});
}

void Main::browseList()
{
    withSelectedJob([this](const JobRow &job) {
        m_windows->browseList(job.number(JobCell::MaillistId), job[JobCell::Maillist]);
    });
}

/// Of exactly the rows that the grid shows.
void Main::exportRecipients()
{
    const MaillistPanel::Shown &shown = m_maillist->shown();
    if (shown.listConnectionString.isEmpty())
        m_seams.op.tell(tr("Click a job first: its recipients are what is exported."));
    else
        m_windows->exportRecipients(shown.listConnectionString, shown.query);
}

void Main::editMessage()
{
    withSelectedJob([this](const JobRow &job) {
        const qint64 messageId = job.number(JobCell::EmailId);
        if (m_windows->messageEditor().editMessage(messageId))
            m_message->loadMessage(messageId);
    });
}

void Main::showPreview()
{
    withSelectedJob(
        [this](const JobRow &job) { m_windows->showPreview(job, m_message->message()); });
}

void Main::showReport()
{
    auto command = frmReport::Command::None;
    withSelectedJob([&](const JobRow &job) { command = m_windows->showReport(job); });
    if (command != frmReport::Command::None)
        startRun(command == frmReport::Command::Resend);
}

void Main::withSelectedJob(const std::function<void(const JobRow &)> &action)
{
    if (const auto job = m_jobs->selectedJob())
        action(*job);
}

void Main::closeEvent(QCloseEvent *event)
{
    if (m_run && m_run->isRunning()) {
        // The recipient at work is finished and recorded first; then the window closes by itself.
        m_closeAfterRun = true;
        m_run->requestEnd();
        m_screen->setText(RunScreen::Transport, tr("Closing after this recipient ..."));
        event->ignore();
        return;
    }
    saveWindowLayout(*this, *m_jobs);
    layoutStore().setValue(splitterKey, m_ui->splitter->saveState());
    Timer2.stop();
    // The other windows go with this one, not now: a program that is told to end closes all of them
    // while the commands that opened them still wait for their end.
    event->accept();
}
