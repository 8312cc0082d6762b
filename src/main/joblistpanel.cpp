#include "joblistpanel.h"

#include "connection.h"
#include "jobstore.h"
#include "operator.h"
#include "programfolder.h"
#include "ui_joblistpanel.h"

#include <QShortcut>

namespace
{

std::vector<ListColumn> jobColumns()
{
    using Panel = JobListPanel;
    constexpr SortKind text = SortKind::Text;
    constexpr SortKind number = SortKind::Number;
    return {{Panel::tr("Job Name"), 1. / 9},
            {Panel::tr("Job ID"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Progress"), 1. / 18},
            {Panel::tr("Total"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Unsent"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Success"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Failed"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Start"), 1. / 22, text, Qt::AlignRight},
            {Panel::tr("End"), 1. / 22, text, Qt::AlignRight},
            {Panel::tr("Maillist"), 1. / 9},
            {Panel::tr("Maillist ID"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Email Subject"), 1. / 9},
            {Panel::tr("Email ID"), 1. / 18, number, Qt::AlignRight},
            {Panel::tr("Last Sent ID"), 1. / 9, number, Qt::AlignRight}};
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

} // namespace

JobListPanel::JobListPanel(const ProgramFolder &folder, Connection &shared, Operator &op,
                           QWidget *parent)
    : QWidget(parent)
    , m_folder(folder)
    , m_shared(shared)
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
    connect(list, &SortableList::rowClicked, this, &JobListPanel::clickSelectedRow);
    connect(list, &SortableList::rowEntered, this, &JobListPanel::clickSelectedRow);
    connect(list, &SortableList::rowDoubleClicked, this,
            [this](int row) { emit rowDoubleClicked(jobAt(row)); });
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

void JobListPanel::highlight(const JobRow &job)
{
    m_ui->lvTask->highlight(job.number(JobCell::Id));
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
    const std::optional<QString> where = condition(text);
    if (!where) {
        m_operator.tell(tr("Please enter numeric value in the search field."));
        return;
    }
    try {
        m_shared.open(m_folder.systemConnectionString());
        std::vector<ListRow> rows;
        for (const JobRow &job : loadJobs(m_shared, *where))
            rows.push_back(listRow(job));
        m_ui->lvTask->setRows(std::move(rows));
        m_isFilled = true;
        m_ui->lvTask->setEmptyText(where->trimmed().isEmpty() ? noJobsText() : noMatchText());
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
    const QString id = (*job)[JobCell::Id];
    if (!m_operator.ask(tr("Delete Job %1 - %2").arg(id, (*job)[JobCell::Name]), tr("Job Manager")))
        return;
    try {
        m_shared.open(m_folder.systemConnectionString());
        m_shared.execute(QStringLiteral("delete from  mjob where jobid=") + id);
        if (const int row = m_ui->lvTask->rowOf(id.toLongLong()); row >= 0)
            m_ui->lvTask->removeRow(row);
    } catch (const StorageError &error) {
        m_operator.tell(error.report(), tr("Error"));
    }
}

void JobListPanel::clickSelectedRow()
{
    if (const std::optional<JobRow> job = selectedJob()) {
        highlight(*job);
        emit rowClicked(*job);
    }
}

std::optional<QString> JobListPanel::condition(const QString &text) const
{
    const auto contains = [&text](const QString &column) {
        return QStringLiteral(" where ") + column + QStringLiteral(" like '%") + text +
               QStringLiteral("%' ");
    };
    const auto equals = [&text](const QString &column) -> std::optional<QString> {
        if (!numericValue(text))
            return std::nullopt;
        return QStringLiteral(" where ") + column + QStringLiteral(" = ") + text +
               QStringLiteral(" ");
    };
    const QString none = QStringLiteral(" ");
    if (text.isEmpty())
        return none;
    switch (m_ui->combField->currentIndex()) {
    case JobNameContains:
        return contains(QStringLiteral("mjob.jobname"));
    case MaillistNameContains:
        return contains(QStringLiteral("mlist.listname"));
    case EmailSubjectContains:
        return contains(QStringLiteral("mmsg.subject"));
    case MaillistIdEquals:
        return equals(QStringLiteral("mjob.listid"));
    case EmailIdEquals:
        return equals(QStringLiteral("mjob.msgid"));
    default:
        return none;
    }
}
