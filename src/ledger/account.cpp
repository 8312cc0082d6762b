#include "account.h"

#include "connection.h"
#include "ledger.h"
#include "recordset.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace
{

/// A series' results, each recipient by the last one.
QString lastOutcomes(qint64 series)
{
    return u"(select result, max(run) from outcome where run in (select run from run where "
           "series=%1) group by mid)"_s.arg(series);
}

QStringList wrongSums(Connection &list)
{
    QStringList wrong;
    std::vector<std::pair<qint64, QString>> all;
    for (Recordset rows(list,
                        u"select series, min(run) as run, max(jobname) as jobname from series "
                        "join run using (series) group by series"_s);
         !rows.atEnd(); rows.moveNext())
        all.emplace_back(rows.current().number(u"series"_s), rows.current().text(u"jobname"_s));
    for (const auto &[series, job] : all) {
        const Account account = accountOf(list, series);
        if (account.sum() != account.selected)
            wrong +=
                u"Series %1 (job \"%2\") selected %3 recipients, and accounts for %4: %5 sent, "
                "%6 failed, %7 in doubt, %8 unsent, %9 removed."_s.arg(QString::number(series), job)
                    .arg(account.selected)
                    .arg(account.sum())
                    .arg(account.sent)
                    .arg(account.failed)
                    .arg(account.inDoubt)
                    .arg(account.unsent)
                    .arg(account.removed);
    }
    return wrong;
}

/// Everybody whose status is not that of their last event.
QStringList wrongStates(Connection &list)
{
    // Who is in doubt in a run that goes on has the status that was there before.
    const QString query =
        u"with forgotten as (select coalesce(max(run), 0) as run, coalesce(max(place), 0) as place "
        "from run where kind='reset' and run=(select max(run) from run where kind='reset')), "
        "sent as (select outcome.mid, result, max(run) as run, how from outcome join run using "
        "(run) "
        "where result<>'R' group by outcome.mid), "
        "edited as (select mid, status, after_run, max(edit) from edit group by mid), "
        "last as (select email.mid, email.email, email.status, "
        "case when email.mid <= forgotten.place then forgotten.run else 0 end as forgot, "
        "coalesce(sent.run, 0) as run, sent.result, sent.how, "
        "coalesce(edited.after_run, -1) as after_run, edited.status as edit "
        "from email left join sent using (mid) left join edited using (mid), forgotten) "
        "select mid, email, coalesce(status, '') as status, "
        "case when after_run >= max(run, forgot) then coalesce(edit, '') "
        "when forgot >= run then '' when result='S' then 'S' else 'F' end as event "
        "from last where (after_run >= 0 or forgot > 0 or run > 0) "
        "and not (run > forgot and result='D' and how is null)"_s;
    QStringList wrong;
    for (Recordset rows(list, u"select * from ("_s + query + u") where status<>event"_s);
         !rows.atEnd(); rows.moveNext()) {
        const Record &row = rows.current();
        const auto word = [](const QString &status) {
            return status.isEmpty() ? u"unsent"_s : u"\"%1\""_s.arg(status);
        };
        wrong += u"Recipient %1 (%2) is %3 in the list, and %4 by the ledger."_s.arg(
            row.text(u"mid"_s), row.text(u"email"_s), word(row.text(u"status"_s)),
            word(row.text(u"event"_s)));
    }
    return wrong;
}

} // namespace

Account accountOf(Connection &list, qint64 series)
{
    Account account;
    for (Recordset rows(list, u"select result, count(*) as number from "_s + lastOutcomes(series) +
                                  u" group by result"_s);
         !rows.atEnd(); rows.moveNext()) {
        const qint64 number = rows.current().number(u"number"_s);
        switch (Fate(rows.current().text(u"result"_s).at(0).toLatin1())) {
        case Fate::Sent:
            account.sent += number;
            break;
        case Fate::Failed:
        case Fate::Temporary:
            account.failed += number;
            break;
        case Fate::InDoubt:
            account.inDoubt += number;
            break;
        case Fate::Removed:
            account.removed += number;
            break;
        }
    }
    const Recordset rows(list, u"select * from series where series=%1"_s.arg(series));
    if (rows.atEnd())
        return account;
    const Record &row = rows.current();
    account.selected = row.number(u"selected"_s);
    account.unsent =
        row.isNull(u"unsent"_s)
            ? list.number(u"select count(*) from email"_s +
                          Ledger(list).withoutOutcome(
                              {series, {}, 0, account.selected, row.number(u"last_mid"_s)}))
            : row.number(u"unsent"_s);
    return account;
}

QStringList verifyList(Connection &list)
{
    QStringList wrong;
    for (Recordset rows(list, u"pragma integrity_check"_s); !rows.atEnd(); rows.moveNext()) {
        if (const QString text = rows.current().value(0).value_or(QString()); text != "ok"_L1)
            wrong += u"The database is damaged: "_s + text;
    }
    if (!Ledger::isIn(list))
        return wrong;
    const Ledger ledger(list); // takes over what an earlier version left
    const qint64 open = list.number(
        u"select count(*) from outcome join run using (run) where result='D' and how is null"_s);
    if (open > 1)
        wrong += u"%1 recipients are in doubt at one time."_s.arg(open);
    return wrong + wrongSums(list) + wrongStates(list);
}
