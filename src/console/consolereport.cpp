#include "commands.h"
#include "listing.h"
#include "terminal.h"

#include "account.h"
#include "connection.h"
#include "jobstore.h"
#include "keyset.h"
#include "ledger.h"
#include "listcatalogue.h"
#include "programfolder.h"
#include "report.h"
#include "reportexport.h"

#include <QDate>
#include <QSet>

using namespace Qt::StringLiterals;

namespace
{

/// A job as the accounts of the lists know it; it may be deleted.
struct LedgerJob {
    qint64 id;
    QString name;
    qint64 listId;
};

/// The lists that are asked for: the one of this number or name, or all.
std::vector<MailList> wantedLists(const ProgramFolder &folder, const QString &list)
{
    std::vector<MailList> lists = ListCatalogue(folder).lists();
    if (list.isEmpty())
        return lists;
    return {oneNamed(lists, u"list"_s, list, &MailList::id, &MailList::name,
                     u"There is no list \"%1\"."_s.arg(list))};
}

/// The job with this number or name, among those that are there or else those that once ran.
LedgerJob findJob(const ProgramFolder &folder, const QString &job)
{
    std::vector<LedgerJob> jobs;
    Connection system(folder.systemConnectionString());
    for (const JobRow &row : loadJobs(system))
        jobs.push_back(
            {row.number(JobCell::Id), row[JobCell::Name], row.number(JobCell::MaillistId)});
    const bool isThere = std::any_of(jobs.begin(), jobs.end(), [&](const LedgerJob &known) {
        return known.name == job || QString::number(known.id) == job;
    });
    if (!isThere) {
        for (const MailList &mailList : ListCatalogue(folder).lists()) {
            Connection list(folder.listConnectionString(mailList.id));
            QSet<qint64> seen;
            for (const ReportedRun &run : reportedRuns(list, 0)) {
                if (!seen.contains(run.jobId))
                    jobs.push_back({run.jobId, run.jobName, mailList.id});
                seen.insert(run.jobId);
            }
        }
    }
    return oneNamed(jobs, u"job"_s, job, &LedgerJob::id, &LedgerJob::name,
                    whyNotListed(system, job));
}

} // namespace

ExitStatus listRuns(const ProgramFolder &folder, const QString &job, bool json)
{
    std::vector<std::pair<qint64, std::vector<ReportedRun>>> all; // by list
    if (!job.isEmpty()) {
        const LedgerJob found = findJob(folder, job);
        Connection list(folder.listConnectionString(found.listId));
        all.emplace_back(found.listId, reportedRuns(list, found.id));
    } else {
        for (const MailList &mailList : ListCatalogue(folder).lists()) {
            Connection list(folder.listConnectionString(mailList.id));
            all.emplace_back(mailList.id, reportedRuns(list, 0));
        }
    }
    const auto rows = [&](const PrintRow &print) {
        for (const auto &[listId, runs] : all) {
            for (const ReportedRun &run : runs)
                print({QString::number(run.number), QString::number(listId),
                       QString::number(run.jobId), run.jobName, run.kind, run.started, run.ended,
                       run.how, QString::number(run.sent), QString::number(run.failed),
                       QString::number(run.inDoubt), run.subject, QString::number(run.series)});
        }
    };
    printListing({{"run", "Run", true},
                  {"listid", "List", true},
                  {"jobid", "Job", true},
                  {"jobname", "Name"},
                  {"kind", "Kind"},
                  {"started", "Started"},
                  {"ended", "Ended"},
                  {"how", "State"},
                  {"sent", "Sent", true},
                  {"failed", "Failed", true},
                  {"doubt", "In doubt", true},
                  {"subject", "Email Subject"},
                  {"series", nullptr, true}},
                 rows, json);
    return Complete;
}

ExitStatus reportJob(const ProgramFolder &folder, const QString &job, const ReportOptions &options)
{
    const LedgerJob found = findJob(folder, job);
    const QString source = folder.listConnectionString(found.listId);
    Connection list(source);
    ReportScope scope;
    // A run of another job on the list can be read too: last month's may be deleted.
    for (const ReportedRun &run : reportedRuns(list, options.run == 0 ? found.id : 0)) {
        if (options.run == 0 || run.number == options.run) {
            scope = {run.series, options.run};
            break;
        }
    }
    if (scope.series == 0)
        throw Refusal{
            options.run == 0
                ? u"Job \"%1\" has no runs yet."_s.arg(found.name)
                : u"The list of job \"%1\" has no run %2."_s.arg(found.name).arg(options.run)};
    std::vector<ReportedResult> only;
    for (const auto result : {ReportedResult::Sent, ReportedResult::Failed, ReportedResult::InDoubt,
                              ReportedResult::Unsent}) {
        if (wordOf(result) == options.outcome)
            only.push_back(result);
    }
    Keyset people(source, scope.from(list, only), ReportScope::columns(), {}, {});
    if (!options.csvFile.isEmpty()) {
        writeReport(folder, people, options.csvFile, [](qint64) { return true; });
        return Complete;
    }
    printListing(
        {{"email", "Email"},
         {"name", "Name"},
         {"result", "Result"},
         {"time", "Time"},
         {"run", "Run", true},
         {"reason", "Reason"},
         {"reply", nullptr},
         {"messageid", nullptr}},
        [&](const PrintRow &print) {
            for (qsizetype i = 0; i < people.size(); ++i) {
                if (const Record *person = people.row(i))
                    print(reportCells(*person));
            }
        },
        options.json);
    return Complete;
}

ExitStatus verifyLists(const ProgramFolder &folder, const QString &list)
{
    qint64 faults = 0;
    const std::vector<MailList> lists = wantedLists(folder, list);
    for (const MailList &mailList : lists) {
        QStringList wrong;
        try {
            Connection database(folder.listConnectionString(mailList.id));
            wrong = verifyList(database);
        } catch (const StorageError &e) {
            wrong = QStringList{e.description()};
        }
        for (const QString &fault : wrong)
            printResult(withoutControls(
                u"List %1-%2: %3"_s.arg(QString::number(mailList.id), mailList.name, fault)));
        faults += wrong.size();
    }
    if (faults > 0)
        return StorageFailure;
    printMessage(u"Lists verified: %1. Everything agrees."_s.arg(lists.size()));
    return Complete;
}

ExitStatus forgetRuns(const ProgramFolder &folder, const QString &before, const QString &list)
{
    const QDate day = QDate::fromString(before, Qt::ISODate);
    if (!day.isValid())
        throw Refusal{u"\"%1\" is no date; give one as 2026-11-25."_s.arg(before)};
    qint64 count = 0;
    for (const MailList &mailList : wantedLists(folder, list)) {
        Connection database(folder.listConnectionString(mailList.id));
        Transaction transaction(database);
        count += Ledger::forgetBefore(database, day.toString(u"yyyy/MM/dd"_s));
        transaction.commit();
    }
    printMessage(u"Outcomes whose address, reason and reply were blanked: %1"_s.arg(count));
    return Complete;
}
