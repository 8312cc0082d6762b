#include "joblistpanel.h"

#include "connection.h"
#include "jobstore.h"
#include "operator.h"
#include "programfolder.h"
#include "ui_joblistpanel.h"

#include <QLocale>
#include <QShortcut>

namespace
{

std::vector<ListColumn> jobColumns()
{
    using Panel = JobListPanel;
    constexpr SortKind text = SortKind::Text;
    const QString name = QStringLiteral("Summer newsletter");
    const QString count = QStringLiteral("1000000");
    const QString time = QStringLiteral("2000/00/00 00:00:00");
    const auto counts = [&count](const QString &header, double width = 1. / 18) {
        return ListColumn{header, width, SortKind::Number, Qt::AlignRight, 0, count};
    };
    return {{Panel::tr("Job Name"), 1. / 9, text, Qt::AlignLeft, 0, name},
            counts(Panel::tr("Job ID")),
            {Panel::tr("Progress"), 1. / 18, text, Qt::AlignLeft, 0, Panel::tr("Complete")},
            counts(Panel::tr("Total")),
            counts(Panel::tr("Unsent")),
            counts(Panel::tr("Success")),
            counts(Panel::tr("Failed")),
            {Panel::tr("Start"), 1. / 22, text, Qt::AlignRight, 0, time},
            {Panel::tr("End"), 1. / 22, text, Qt::AlignRight, 0, time},
            {Panel::tr("Maillist"), 1. / 9, text, Qt::AlignLeft, 0, name},
            counts(Panel::tr("Maillist ID")),
            {Panel::tr("Email Subject"), 1. / 9, text, Qt::AlignLeft, 0, name},
            counts(Panel::tr("Email ID")),
            counts(Panel::tr("Last Sent ID"), 1. / 9)};
}

QString noJobsText()
{
    return JobListPanel::tr("There are no jobs yet. Create one to send a message to a mail list: "
                            "\"Create new Job\" in the File menu.");
}

QString noMatchText()
{
    return JobListPanel::tr("No job matches the search. Choose \"Show all\" and refresh to see "
                            "every job.");
}

constexpr int cellCount = int(JobCell::Count);

ListRow listRow(const JobRow &job)
{
    ListRow row{job.number(JobCell::Id), {}};
    row.cells.reserve(cellCount);
    for (int cell = 0; cell < cellCount; ++cell)
        row.cells += job[JobCell(cell)];
    return row;
}

JobRow jobRow(const ListRow &row)
{
    JobRow job;
    for (int cell = 0; cell < cellCount; ++cell)
        job[JobCell(cell)] = row.cells[cell];
    return job;
}

bool hasOutcomes(const JobRow &job)
{
    return job.number(JobCell::Success) + job.number(JobCell::Failed) > 0;
}

QString outcomes(const JobRow &job)
{
    const QLocale locale;
    return JobListPanel::tr("%1 have had its email, and %2 failed.")
        .arg(locale.toString(job.number(JobCell::Success)),
             locale.toString(job.number(JobCell::Failed)));
}

} // namespace

JobListPanel::JobListPanel(const ProgramFolder &folder, Operator &op, QWidget *parent)
    : QWidget(parent)
    , m_folder(folder)
    , m_operator(op)
    , m_ui(std::make_unique<Ui::JobListPanel>())
{
    m_ui->setupUi(this);
    SortableList *list = m_ui->lvTask;
    list->setColumns(jobColumns());
    list->setIcons(QIcon::fromTheme(QStringLiteral("mail-message")),
                   QIcon::fromTheme(QStringLiteral("mail-mark-important")));
    list->sortDescending(int(JobCell::Id));
    list->setEmptyText(noJobsText());
    m_deleteKey =
        new QShortcut(Qt::Key_Delete, list, this, &JobListPanel::deleteJob, Qt::WidgetShortcut);

    connect(m_ui->cmdRefresh, &QToolButton::clicked, this, &JobListPanel::list_refresh);
    connect(m_ui->txtSearchJob, &QLineEdit::returnPressed, this, &JobListPanel::list_refresh);
    const auto select = [this] { emit jobSelected(selectedJob()); };
    connect(list, &SortableList::rowSelected, this, select);
    connect(list, &SortableList::rowEntered, this, select);
    connect(list, &SortableList::rowDoubleClicked, this, select);
}

JobListPanel::~JobListPanel() = default;

int JobListPanel::count() const
{
    return m_ui->lvTask->count();
}

JobRow JobListPanel::jobAt(int row) const
{
    return jobRow(m_ui->lvTask->row(row));
}

int JobListPanel::selectedRow() const
{
    return m_ui->lvTask->selectedRow();
}

std::optional<JobRow> JobListPanel::selectedJob() const
{
    const int row = selectedRow();
    return row < 0 ? std::nullopt : std::optional(jobAt(row));
}

void JobListPanel::selectRow(int row)
{
    m_ui->lvTask->selectRow(row);
}

void JobListPanel::updateRow(const JobRow &job)
{
    const int row = m_ui->lvTask->rowOf(job.number(JobCell::Id));
    if (row >= 0)
        m_ui->lvTask->setCells(row, listRow(job).cells);
}

void JobListPanel::selectNew(const std::function<bool()> &create)
{
    const qint64 highest = m_ui->lvTask->highestNumber();
    if (!create())
        return;
    // A search could hide it.
    search(ShowAll, {});
    m_ui->lvTask->selectNewerThan(highest);
}

void JobListPanel::addCommands(const QList<QAction *> &commands)
{
    m_ui->lvTask->addActions(commands);
    m_ui->lvTask->setContextMenuPolicy(Qt::ActionsContextMenu);
}

void JobListPanel::setRunning(bool isRunning)
{
    m_deleteKey->setEnabled(!isRunning);
}

void JobListPanel::search(SearchMode mode, const QString &text)
{
    m_ui->combField->setCurrentIndex(mode);
    m_ui->txtSearchJob->setText(text);
    list_refresh();
}

QByteArray JobListPanel::saveColumns() const
{
    return m_ui->lvTask->saveColumns();
}

void JobListPanel::restoreColumns(const QByteArray &state)
{
    m_ui->lvTask->restoreColumns(state);
}

void JobListPanel::list_refresh()
{
    const QString text = m_ui->txtSearchJob->text().trimmed();
    m_ui->txtSearchJob->setText(text);
    const int mode = m_ui->combField->currentIndex();
    const bool isSearch = mode != ShowAll && !text.isEmpty();
    if (isSearch && mode >= MaillistIdEquals && !numericValue(text)) {
        m_operator.tell(tr("Please enter numeric value in the search field."));
        return;
    }
    try {
        Connection system(m_folder.systemConnectionString());
        std::vector<ListRow> rows;
        for (const JobRow &job :
             loadJobs(system, isSearch ? jobsWith(JobField(mode - 1), text) : QString()))
            rows.push_back(listRow(job));
        m_ui->lvTask->setRows(std::move(rows));
        m_isFilled = true;
        m_ui->lvTask->setEmptyText(isSearch ? noMatchText() : noJobsText());
    } catch (const StorageError &error) {
        m_ui->lvTask->setEmptyText(tr("The jobs could not be read."));
        m_operator.tell(error.report(), tr("Error"));
    }
}

void JobListPanel::deleteJob()
{
    const std::optional<JobRow> job = selectedJob();
    if (!job)
        return;
    QString question = tr("Delete Job %1 - %2").arg((*job)[JobCell::Id], (*job)[JobCell::Name]);
    if (hasOutcomes(*job))
        question += tr("\n\n%1 The mail list keeps who they are.").arg(outcomes(*job));
    if (!m_operator.ask(question, tr("Job Manager")))
        return;
    try {
        ::deleteJob(m_folder, job->number(JobCell::Id));
        if (const int row = m_ui->lvTask->rowOf(job->number(JobCell::Id)); row >= 0)
            m_ui->lvTask->removeRow(row);
    } catch (const StorageError &error) {
        m_operator.tell(error.report(), tr("Error"));
    }
}

void JobListPanel::resetJob()
{
    std::optional<JobRow> job = selectedJob();
    if (!job)
        return;
    const QString question = tr("Reset Job %1 - %2\n\n%3 The list forgets who they are, and Start "
                                "sends to everybody again.");
    if (hasOutcomes(*job) &&
        !m_operator.ask(question.arg((*job)[JobCell::Id], (*job)[JobCell::Name], outcomes(*job)),
                        tr("Job Manager")))
        return;
    try {
        ::resetJob(m_folder, *job);
        updateRow(*job);
        emit jobSelected(job);
    } catch (const StorageError &error) {
        m_operator.tell(error.report(), tr("Error"));
    }
}
