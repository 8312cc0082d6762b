#include "report.h"

#include "connection.h"
#include "ledger.h"
#include "recordset.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

/// By ReportedResult.
constexpr std::array words = {"sent", "failed", "doubt", "unsent", "removed"};
constexpr std::array letters = {"'S'", "'F','T'", "'D'", "'U'", "'R'"};

/// Of a run that goes on, or was cut off before it was counted.
void countLive(Connection &list, ReportedRun &run)
{
    for (Recordset rows(list, u"select result, count(*) as number from outcome where run=%1 "
                              "group by result"_s.arg(run.number));
         !rows.atEnd(); rows.moveNext()) {
        const qint64 number = rows.current().number(u"number"_s);
        const ReportedResult result = reportedResult(rows.current().text(u"result"_s));
        if (result == ReportedResult::Sent)
            run.sent += number;
        else if (result == ReportedResult::Failed)
            run.failed += number;
        else if (result == ReportedResult::InDoubt)
            run.inDoubt += number;
    }
}

QString runsIn(Connection &list, qint64 series)
{
    QStringList runs;
    for (Recordset rows(list, u"select run from run where series=%1"_s.arg(series)); !rows.atEnd();
         rows.moveNext())
        runs += rows.current().text(u"run"_s);
    return u'(' + runs.join(u", "_s) + u')';
}

} // namespace

std::vector<ReportedRun> reportedRuns(Connection &list, qint64 jobId)
{
    std::vector<ReportedRun> runs;
    if (!Ledger::isIn(list))
        return runs;
    const Ledger ledger(list); // takes over what an earlier version left
    const QString job = jobId == 0 ? QString() : u" and jobid=%1"_s.arg(jobId);
    for (Recordset rows(list, u"select run.*, subject from run left join content using (content) "
                              "where series is not null"_s +
                                  job + u" order by run desc"_s);
         !rows.atEnd(); rows.moveNext()) {
        const Record &row = rows.current();
        ReportedRun run;
        run.number = row.number(u"run"_s);
        run.series = row.number(u"series"_s);
        run.jobId = row.number(u"jobid"_s);
        run.jobName = row.text(u"jobname"_s);
        run.kind = row.text(u"kind"_s);
        if (row.number(u"rerun"_s) > 1)
            run.kind += u' ' + row.text(u"rerun"_s);
        run.started = row.text(u"started"_s);
        run.ended = row.text(u"ended"_s);
        run.how = row.text(u"how"_s);
        run.subject = row.text(u"subject"_s);
        if (row.isNull(u"how"_s) || row.isNull(u"sent"_s)) {
            countLive(list, run);
        } else {
            run.sent = row.number(u"sent"_s);
            run.failed = row.number(u"failed"_s);
            run.inDoubt = row.number(u"doubt"_s);
        }
        runs.push_back(run);
    }
    return runs;
}

bool isSeriesOpen(Connection &list, qint64 series)
{
    return list.number(
               u"select count(*) from series where series=%1 and unsent is null"_s.arg(series)) > 0;
}

QString wordOf(ReportedResult result)
{
    return QLatin1String(words[size_t(result)]);
}

ReportedResult reportedResult(const QString &letter)
{
    for (size_t i = 0; i < letters.size(); ++i) {
        if (QLatin1String(letters[i]).contains(letter))
            return ReportedResult(i);
    }
    return ReportedResult::Failed;
}

QString ReportScope::columns()
{
    return u"run, address, trim(coalesce(fname, '') || ' ' || coalesce(lname, '')) as name, "
           u"result, "
           "reason, reply, at, messageid"_s;
}

QString ReportScope::from(Connection &list, const std::vector<ReportedResult> &only) const
{
    // No part is asked that cannot have any of them: a million rows would be looked at in vain.
    const auto isWanted = [&only](ReportedResult result) {
        return only.empty() || std::find(only.begin(), only.end(), result) != only.end();
    };
    QStringList wanted;
    for (const auto result : {ReportedResult::Sent, ReportedResult::Failed, ReportedResult::InDoubt,
                              ReportedResult::Removed}) {
        if (isWanted(result))
            wanted += QLatin1String(letters[size_t(result)]);
    }
    const QString runs = run == 0 ? runsIn(list, series) : u'(' + QString::number(run) + u')';
    QStringList parts;
    if (series != 0 && !wanted.isEmpty()) {
        parts += u"select mid, run, address, result, reason, reply, at, messageid from outcome "
                 "where run in "_s +
                 runs;
        if (!only.empty())
            parts.last() += u" and result in (%1)"_s.arg(wanted.join(u','));
        if (run == 0)
            parts.last() +=
                u" and not exists (select * from outcome as later where "
                "later.mid=outcome.mid and later.run > outcome.run and later.run in "_s +
                runs + u')';
    }
    // Nobody is unsent in a single run.
    const bool hasUnsent = series != 0 && run == 0 && isWanted(ReportedResult::Unsent);
    parts += u"select mid, 0 as run, email as address, 'U' as result, '' as reason, '' as reply, "
             "0 as at, '' as messageid from email where "_s +
             (hasUnsent ? u"mid <= (select last_mid from series where series=%1) and not exists "
                          "(select * from outcome where outcome.mid=email.mid and run in %2)"_s.arg(
                              QString::number(series), runs)
                        : u"false"_s);
    return u"("_s + parts.join(u" union all "_s) +
           u") as person left join (select mid, fname, lname from email) as entry using (mid)"_s;
}

ReportCount::ReportCount(const QString &listConnectionString, const ReportScope &scope)
    : m_list(listConnectionString)
    , m_people(m_list, u"select result from "_s + scope.from(m_list, {}))
{
}

bool ReportCount::step()
{
    if (m_people.atEnd())
        return false;
    ++m_counts[size_t(reportedResult(*m_people.current().value(0)))];
    m_people.moveNext();
    return !m_people.atEnd();
}
