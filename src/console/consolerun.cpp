#include "consolerun.h"

#include "table.h"
#include "terminal.h"

#include "clock.h"
#include "connection.h"
#include "interruptedrun.h"
#include "jobstore.h"
#include "programfolder.h"
#include "sendrun.h"
#include "settingsstore.h"
#include "smtpsendmail.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace
{

struct CellName {
    JobCell cell;
    const char *json;
    const char *heading; // null: not in the table
    bool isNumber;
};

constexpr CellName cellNames[] = {
    {JobCell::Id, "jobid", "Job", true},
    {JobCell::Name, "jobname", "Name", false},
    {JobCell::Progress, "progress", "State", false},
    {JobCell::Total, "total", "Total", true},
    {JobCell::Unsent, "unsent", "Unsent", true},
    {JobCell::Success, "success", "Success", true},
    {JobCell::Failed, "failure", "Failed", true},
    {JobCell::Start, "start_time", nullptr, false},
    {JobCell::End, "end_time", nullptr, false},
    {JobCell::Maillist, "listname", "Maillist", false},
    {JobCell::MaillistId, "listid", nullptr, true},
    {JobCell::Subject, "subject", "Email Subject", false},
    {JobCell::EmailId, "msgid", nullptr, true},
    {JobCell::LastSentId, "last_mid", "Last Sent ID", true},
};

QString json(const std::vector<JobRow> &jobs)
{
    QJsonArray array;
    for (const JobRow &job : jobs) {
        QJsonObject object;
        for (const CellName &name : cellNames)
            object.insert(QLatin1String(name.json), name.isNumber
                                                        ? QJsonValue(job.number(name.cell))
                                                        : QJsonValue(job[name.cell]));
        array.append(object);
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Indented)).trimmed();
}

QString table(const std::vector<JobRow> &jobs)
{
    std::vector<TableColumn> columns;
    std::vector<QStringList> rows(jobs.size());
    for (const CellName &name : cellNames) {
        if (!name.heading)
            continue;
        columns.push_back({QString::fromLatin1(name.heading), name.isNumber});
        for (size_t i = 0; i < jobs.size(); ++i)
            rows[i] += jobs[i][name.cell];
    }
    return table(columns, rows);
}

/// The one job of the number or name; tells why there is none.
std::optional<JobRow> findJob(const ProgramFolder &folder, const QString &job)
{
    Connection system(folder.systemConnectionString());
    std::vector<JobRow> named;
    for (JobRow &row : loadJobs(system)) {
        if (row[JobCell::Id] == job)
            return row;
        if (row[JobCell::Name] == job)
            named.push_back(row);
    }
    if (named.size() == 1)
        return named.front();
    printMessage(named.empty()
                     ? QStringLiteral("There is no job \"%1\".").arg(job)
                     : QStringLiteral("There are %1 jobs named \"%2\"; give the job's number.")
                           .arg(named.size())
                           .arg(job));
    return {};
}

void recover(const ProgramFolder &folder)
{
    for (const QString &name : recoverInterruptedRuns(folder))
        printMessage(QStringLiteral("Job [%1] was interrupted; it is paused after the last "
                                    "recipient handled.")
                         .arg(name));
}

ExitStatus exitStatus(SendRun::Result result, qint64 failed)
{
    switch (result) {
    case SendRun::Result::Complete:
        return failed > 0 ? CompleteWithFailures : Complete;
    case SendRun::Result::Paused:
        return Paused;
    case SendRun::Result::NoServer:
    case SendRun::Result::MissingAttachment:
    case SendRun::Result::ListInUse:
        return Refused;
    case SendRun::Result::StorageFailed:
        break;
    }
    return StorageFailure;
}

} // namespace

ExitStatus listJobs(const ProgramFolder &folder, bool asJson)
{
    return withStorage([&] {
        recover(folder);
        Connection system(folder.systemConnectionString());
        const std::vector<JobRow> jobs = loadJobs(system);
        printResult(asJson ? json(jobs) : table(jobs));
        return Complete;
    });
}

ExitStatus startJob(const ProgramFolder &folder, const QString &job, const StartOptions &options)
{
    return withStorage([&]() -> ExitStatus {
        recover(folder);
        const auto row = findJob(folder, job);
        if (!row)
            return Refused;
        Connection system(folder.systemConnectionString());
        const JobMessage message = loadMessage(system, row->number(JobCell::EmailId));
        system.close();

        SystemClock clock;
        SignalYield yield;
        SmtpSendMail mail(yield);
        const SettingsStore settings(folder);
        ProgressBar bar;
        ConsoleOperator op(options.reruns, bar);
        ConsoleView view(bar);
        SendRun run(folder, mail, settings, op, view, clock, yield,
                    {.batchPause = std::chrono::milliseconds(options.batchPauseMs)});
        yield.onSignal([&run] { run.requestPause(); });
        const SendRun::Result result = run.start(*row, message, options.failedOnly);
        if (const auto stored = findJob(folder, (*row)[JobCell::Id]))
            printResult(table({*stored}));
        return exitStatus(result, run.progress().pass.failed);
    });
}

ExitStatus resetJob(const ProgramFolder &folder, const QString &job)
{
    return withStorage([&]() -> ExitStatus {
        recover(folder);
        auto row = findJob(folder, job);
        if (!row)
            return Refused;
        try {
            resetJob(folder, *row);
        } catch (const ListInUse &e) {
            printMessage(e.description());
            return Refused;
        }
        printResult(table({*row}));
        return Complete;
    });
}
