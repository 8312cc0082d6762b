#include "frmreport.h"

#include "peoplemodel.h"
#include "ui_frmreport.h"
#include "windowlayout.h"

#include "operator.h"
#include "programfolder.h"
#include "reportexport.h"
#include "yield.h"

#include <QElapsedTimer>
#include <QHeaderView>
#include <QTimerEvent>

using namespace Qt::StringLiterals;

namespace
{

/// The entry of all runs since the job last began.
constexpr qint64 wholeSeries = 0;
enum RunColumn { Started, Number, Kind, Ended, State, Sent, Failed, InDoubt, Subject };
constexpr qint64 countStepMs = 8;

std::vector<ListColumn> runColumns()
{
    using Window = frmReport;
    const QString time = u"2000/00/00 00:00:00"_s;
    const auto count = [](const QString &header) {
        return ListColumn{header, 1. / 14, SortKind::Number, Qt::AlignRight, 0, u"1000000"_s};
    };
    // What is no date comes after all dates, so that the entry of all runs stands first.
    return {{Window::tr("Started"), 1. / 6, SortKind::Date, Qt::AlignLeft, 0, time},
            count(Window::tr("Run")),
            {Window::tr("Kind"), 1. / 8, SortKind::Text, Qt::AlignLeft, 0, u"Resend Fail"_s},
            {Window::tr("Ended"), 1. / 6, SortKind::Date, Qt::AlignLeft, 0, time},
            {Window::tr("State"), 1. / 10, SortKind::Text, Qt::AlignLeft, 0, u"Complete"_s},
            count(Window::tr("Sent")),
            count(Window::tr("Failed")),
            count(Window::tr("In doubt")),
            {Window::tr("Email Subject"), 1. / 6}};
}

QString kindName(const QString &kind)
{
    if (kind == "start"_L1)
        return frmReport::tr("Start");
    if (kind == "resume"_L1)
        return frmReport::tr("Resume");
    if (kind == "resend"_L1)
        return frmReport::tr("Resend Fail");
    return frmReport::tr("Rerun") + kind.mid(5);
}

ListRow runRow(const ReportedRun &run)
{
    return {run.number,
            {run.started, QString::number(run.number), kindName(run.kind), run.ended,
             run.how.isEmpty() ? frmReport::tr("Going on") : run.how, QString::number(run.sent),
             QString::number(run.failed), QString::number(run.inDoubt), run.subject}};
}

} // namespace

frmReport::frmReport(const ProgramFolder &folder, Operator &op, Yield &yield, QWidget *parent)
    : WorkDialog(parent)
    , m_folder(folder)
    , m_op(op)
    , m_yield(yield)
    , m_ui(std::make_unique<Ui::frmReport>())
    , m_people(new PeopleModel(this))
{
    m_ui->setupUi(this);
    m_filters = {m_ui->cmdAll,   m_ui->cmdSent,   m_ui->cmdFailed,
                 m_ui->cmdDoubt, m_ui->cmdUnsent, m_ui->cmdRemoved};
    m_ui->lvRuns->setColumns(runColumns());
    m_ui->lvRuns->sortDescending(Started);
    m_ui->lvRuns->setEmptyText(tr("This job has no runs yet. What it sends is told here."));
    setUpGrid();
    connect(m_ui->lvRuns, &SortableList::rowSelected, this, [this] {
        m_ui->cmdAll->setChecked(true);
        showPeople();
        beginCount();
    });
    for (QAbstractButton *filter : m_filters)
        connect(filter, &QAbstractButton::clicked, this, &frmReport::showPeople);
    connect(m_people, &KeysetModel::failed, this,
            [this](const QString &description) { m_op.tell(description); });
    connect(m_ui->cmdResend, &QPushButton::clicked, this, &frmReport::resend);
    connect(m_ui->cmdExport, &QPushButton::clicked, this, &frmReport::exportPeople);
    connect(m_ui->cmdClose, &QPushButton::clicked, this, &frmReport::reject);
    restoreWindowLayout(*this, *m_ui->lvRuns);
}

frmReport::~frmReport() = default;

void frmReport::setUpGrid()
{
    QTableView *grid = m_ui->grdPeople;
    grid->setModel(m_people);
    // One height for all rows, so that a million of them need no measuring.
    grid->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    grid->verticalHeader()->setDefaultSectionSize(grid->fontMetrics().height() + 8);
    grid->verticalHeader()->hide();
    grid->horizontalHeader()->setHighlightSections(false);
    grid->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    constexpr std::array widths = {12, 26, 18, 38, 23, 6, 38, 38}; // in letters
    for (size_t i = 0; i < widths.size(); ++i)
        grid->setColumnWidth(int(i), grid->fontMetrics().averageCharWidth() * widths[i] + 16);
    m_ui->splitter->setStretchFactor(0, 1);
    m_ui->splitter->setStretchFactor(1, 3);
}

frmReport::Command frmReport::showJob(const Job &job)
{
    m_job = job;
    m_listConnectionString = m_folder.listConnectionString(job.listId);
    m_command = Command::None;
    setWindowTitle(tr("Report [ %1-%2 ]").arg(QString::number(job.id), job.name));
    try {
        fillRuns();
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
        return Command::None;
    }
    m_ui->lvRuns->setFocus();
    exec();
    return m_command;
}

void frmReport::fillRuns()
{
    Connection list(m_listConnectionString);
    m_runs = reportedRuns(list, m_job.id);
    m_isOpen = !m_runs.empty() && isSeriesOpen(list, m_runs.front().series);
    std::vector<ListRow> rows;
    if (!m_runs.empty())
        rows.push_back({wholeSeries, wholeCells()});
    for (const ReportedRun &run : m_runs)
        rows.push_back(runRow(run));
    m_ui->lvRuns->setRows({});
    m_ui->lvRuns->setRows(std::move(rows));
    m_ui->lvRuns->selectRow(m_ui->lvRuns->rowOf(wholeSeries));
}

QStringList frmReport::wholeCells() const
{
    const auto runs = std::count_if(m_runs.begin(), m_runs.end(), [this](const ReportedRun &run) {
        return run.series == m_runs.front().series;
    });
    return {tr("Since last start"),
            {},
            runs == 1 ? tr("1 run") : tr("%L1 runs").arg(runs),
            {},
            {},
            {},
            {},
            {},
            m_runs.front().subject};
}

std::optional<ReportedResult> frmReport::shownResult() const
{
    for (size_t i = 1; i < m_filters.size(); ++i) {
        if (m_filters[i]->isChecked())
            return ReportedResult(i - 1);
    }
    return {};
}

std::vector<ReportedResult> frmReport::only() const
{
    const auto result = shownResult();
    return result ? std::vector{*result} : std::vector<ReportedResult>();
}

void frmReport::showPeople()
{
    const int row = m_ui->lvRuns->selectedRow();
    const qint64 number = row < 0 ? -1 : m_ui->lvRuns->row(row).number;
    m_scope = {};
    for (const ReportedRun &run : m_runs) {
        if (number == wholeSeries || run.number == number) {
            m_scope = {run.series, number};
            break;
        }
    }
    try {
        m_people->load(m_listConnectionString, m_scope, only());
        m_ui->grdPeople->scrollToTop();
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
    }
    enableResend();
}

void frmReport::beginCount()
{
    m_uncounted.reset();
    m_counts = {};
    try {
        m_uncounted = std::make_unique<ReportCount>(m_listConnectionString, m_scope);
        m_countTimer.start(0, this);
        count();
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
    }
}

void frmReport::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_countTimer.timerId())
        return WorkDialog::timerEvent(event);
    try {
        count();
    } catch (const StorageError &e) {
        m_countTimer.stop();
        m_uncounted.reset();
        m_op.tell(e.report(), tr("Error"));
    }
}

void frmReport::count()
{
    QElapsedTimer timer;
    timer.start();
    while (m_uncounted->step() && timer.elapsed() < countStepMs) {
    }
    m_counts = m_uncounted->counts();
    if (m_uncounted->atEnd()) {
        m_countTimer.stop();
        m_uncounted.reset(); // the list's file may be copied or deleted
        showSums();
    }
    showCounts();
}

/// Each person counts once in the entry of all runs, so its counts are known only now.
void frmReport::showSums()
{
    if (m_scope.series == 0 || m_scope.run != 0)
        return;
    QStringList cells = wholeCells();
    for (const auto &[column, result] : {std::pair(Sent, ReportedResult::Sent),
                                         {Failed, ReportedResult::Failed},
                                         {InDoubt, ReportedResult::InDoubt}})
        cells[column] = QString::number(countOf(result));
    m_ui->lvRuns->setCells(m_ui->lvRuns->rowOf(wholeSeries), cells);
}

void frmReport::showCounts()
{
    qint64 all = 0;
    for (const qint64 number : m_counts)
        all += number;
    const QStringList texts{tr("&All %L1").arg(all),
                            tr("&Sent %L1").arg(countOf(ReportedResult::Sent)),
                            tr("&Failed %L1").arg(countOf(ReportedResult::Failed)),
                            tr("In &doubt %L1").arg(countOf(ReportedResult::InDoubt)),
                            tr("&Unsent %L1").arg(countOf(ReportedResult::Unsent)),
                            tr("Re&moved %L1").arg(countOf(ReportedResult::Removed))};
    for (size_t i = 0; i < m_filters.size(); ++i)
        m_filters[i]->setText(texts[qsizetype(i)]);
    // Nobody is unsent in a single run, and seldom is anybody taken from the list.
    m_ui->cmdUnsent->setVisible(m_scope.run == 0);
    m_ui->cmdRemoved->setVisible(countOf(ReportedResult::Removed) > 0);
    enableResend();
}

/// The commands send to whom the whole newest series left over, so they are offered for it alone.
void frmReport::enableResend()
{
    const auto result = shownResult();
    const qint64 number = result ? countOf(*result) : 0;
    const bool isWhole = m_scope.series != 0 && m_scope.run == 0 && m_isOpen && !m_uncounted;
    QString text = tr("&Resend these ...");
    QString tip = tr("Choose Failed, In doubt or Unsent of all runs since the last start first");
    bool canSend = false;
    if (isWhole && result == ReportedResult::Unsent && number > 0) {
        canSend = m_job.startSendsRest;
        text = tr("Send to the %L1 &unreached").arg(number);
        tip = canSend ? tr("Starts the job, which goes on with those whom no run has reached")
                      : tr("A start of the job would not go on with them now");
    } else if (isWhole && number > 0 &&
               (result == ReportedResult::Failed || result == ReportedResult::InDoubt)) {
        canSend = true;
        text = result == ReportedResult::Failed ? tr("&Resend to the %L1 failed").arg(number)
                                                : tr("&Resend to the %L1 in doubt ...").arg(number);
        tip = tr("Runs \"Resend Fail Email\" for the job");
    }
    m_ui->cmdResend->setText(text);
    m_ui->cmdResend->setToolTip(tip);
    m_ui->cmdResend->setEnabled(canSend);
    m_ui->cmdExport->setEnabled(m_scope.series != 0);
}

void frmReport::resend()
{
    const auto result = shownResult();
    const qint64 failed = countOf(ReportedResult::Failed);
    if (result == ReportedResult::InDoubt &&
        !m_op.ask(tr("The email may have arrived at the %L1 in doubt: sent again, it may come "
                     "twice.\n\nResend Fail sends to the %L2 failed, and asks once more before it "
                     "sends to those in doubt. Start it ?")
                      .arg(countOf(ReportedResult::InDoubt))
                      .arg(failed),
                  tr("Resend Fail")))
        return;
    m_command = result == ReportedResult::Unsent ? Command::SendRest : Command::Resend;
    accept();
}

void frmReport::exportPeople()
{
    const QString path = m_op.saveFile(tr("Export the report"),
                                       tr("Comma-separated values (*.csv)|*.csv|All files (*)|*"));
    if (path.isEmpty())
        return;
    m_isAborted = false;
    setWorking(true);
    setEnabledParts(false);
    QString end;
    try {
        Connection list(m_listConnectionString);
        Keyset people(m_listConnectionString, m_scope.from(list, only()), ReportScope::columns(),
                      {}, {});
        const auto goOn = [&](qint64 written) {
            m_ui->lbStatus->setText(tr("Exporting %L1 of %L2 ...").arg(written).arg(people.size()));
            m_yield.yield();
            return !m_isAborted;
        };
        const qint64 written = writeReport(m_folder, people, path, goOn);
        end = m_isAborted ? tr("Export aborted") : tr("Exported: %L1").arg(written);
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
    }
    m_ui->lbStatus->setText(end);
    setEnabledParts(true);
    setWorking(false);
}

void frmReport::setEnabledParts(bool isEnabled)
{
    m_ui->splitter->setEnabled(isEnabled);
    m_ui->cmdExport->setEnabled(isEnabled);
    m_ui->cmdClose->setText(isEnabled ? tr("&Close") : tr("&Abort"));
    if (isEnabled)
        enableResend();
    else
        m_ui->cmdResend->setEnabled(false);
}

void frmReport::hideEvent(QHideEvent *event)
{
    m_countTimer.stop();
    m_uncounted.reset();
    m_ui->lbStatus->clear();
    saveWindowLayout(*this, *m_ui->lvRuns);
    WorkDialog::hideEvent(event);
}
