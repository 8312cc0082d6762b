#include "commands.h"
#include "listing.h"
#include "terminal.h"

#include "clock.h"
#include "connection.h"
#include "jobstore.h"
#include "programfolder.h"
#include "runrecord.h"
#include "sendrun.h"
#include "settingsstore.h"
#include "smtpsendmail.h"

namespace
{

void print(const std::vector<JobRow> &jobs, bool json = false)
{
    const std::vector<ListingColumn> columns{
        {"jobid", "Job", true},      {"jobname", "Name"},
        {"progress", "State"},       {"total", "Total", true},
        {"unsent", "Unsent", true},  {"success", "Success", true},
        {"failure", "Failed", true}, {"start_time", nullptr},
        {"end_time", nullptr},       {"listname", "Maillist"},
        {"listid", nullptr, true},   {"subject", "Email Subject"},
        {"msgid", nullptr, true},    {"last_mid", "Last Sent ID", true}};
    const auto rows = [&](const PrintRow &print) {
        for (const JobRow &job : jobs) {
            QStringList cells;
            for (int cell = 0; cell < int(JobCell::Count); ++cell)
                cells += job[JobCell(cell)];
            cells.swapItemsAt(int(JobCell::Name), int(JobCell::Id)); // as the columns are
            print(cells);
        }
    };
    printListing(columns, rows, json);
}

JobRow findJob(const ProgramFolder &folder, const QString &job)
{
    Connection system(folder.systemConnectionString());
    return oneNamed(
        loadJobs(system), QStringLiteral("job"), job,
        [](const JobRow &row) { return row.number(JobCell::Id); },
        [](const JobRow &row) { return row[JobCell::Name]; }, whyNotListed(system, job));
}

void recover(const ProgramFolder &folder)
{
    for (const CutOffRun &run : recoverInterruptedRuns(folder)) {
        printMessage(QStringLiteral("Job [%1] was interrupted; it is paused after the last "
                                    "recipient handled.")
                         .arg(run.jobName));
        if (!run.inDoubt.isEmpty())
            printMessage(QStringLiteral("In doubt: %1 may have got the message, and is not sent it "
                                        "again.")
                             .arg(run.inDoubt));
    }
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
    case SendRun::Result::NoUnsubscribeList:
    case SendRun::Result::Declined:
        return Refused;
    case SendRun::Result::StorageFailed:
        break;
    }
    return StorageFailure;
}

} // namespace

ExitStatus listJobs(const ProgramFolder &folder, bool json)
{
    recover(folder);
    Connection system(folder.systemConnectionString());
    print(loadJobs(system), json);
    return Complete;
}

ExitStatus startJob(const ProgramFolder &folder, const QString &job, const StartOptions &options)
{
    recover(folder);
    const JobRow row = findJob(folder, job);
    Connection system(folder.systemConnectionString());
    const JobMessage message = loadMessage(system, row.number(JobCell::EmailId));
    system.close();

    SystemClock clock;
    ProgressBar bar;
    SignalYield yield(bar);
    SmtpSendMail mail(yield);
    const SettingsStore settings(folder);
    ConsoleOperator op(options.reruns, bar);
    ConsoleView view(bar);
    RunOptions runOptions{.batchPause = std::chrono::milliseconds(options.batchPauseMs),
                          .doubts = options.resendInDoubt ? RunOptions::Doubts::Send
                                                          : RunOptions::Doubts::Skip,
                          .sendChanged = options.changed,
                          .anyList = options.noCatch};
    if (options.patienceSeconds >= 0)
        runOptions.patience = std::chrono::seconds(options.patienceSeconds);
    if (options.rerunWaitMinutes >= 0)
        runOptions.rerunWait = std::chrono::minutes(options.rerunWaitMinutes);
    SendRun run(folder, mail, settings, op, view, clock, yield, runOptions);
    yield.onSignal(QStringLiteral("Pausing after the current recipient; once more to quit at once"),
                   [&run] { run.requestPause(); });
    const SendRun::Result result = run.start(row, message, options.failedOnly);
    print({run.progress().row});
    return exitStatus(result, run.account().failed + run.account().inDoubt);
}

ExitStatus resetJob(const ProgramFolder &folder, const QString &job)
{
    recover(folder);
    JobRow row = findJob(folder, job);
    resetJob(folder, row);
    print({row});
    return Complete;
}
