#include "ledger.h"

#include "connection.h"
#include "recordset.h"
#include "sqltext.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

const QString inDoubtPrefix = u"In doubt: "_s;

namespace
{

constexpr std::array tables = {
    "create table if not exists series (series integer primary key autoincrement, "
    "id text not null, jobid integer not null, selected integer not null, "
    "last_mid integer not null, unsent integer)", // null while it is open
    "create table if not exists content (content integer primary key autoincrement, "
    "digest text not null unique, subject text, sendername text, senderemail text, format text, "
    "source text, attachments text)",
    "create table if not exists run (run integer primary key autoincrement, "
    "jobid integer not null, jobname text, series integer, content integer, kind text not null, "
    "rerun integer not null, pass integer not null, doubts integer not null, started text, "
    "ended text, how text, place integer not null, sent integer, failed integer, doubt integer, "
    "stored integer not null default 0)",
    "create table if not exists outcome (run integer not null, mid integer not null, "
    "address text not null, result text not null, reason text not null, reply text not null, "
    "at integer not null, messageid text not null, primary key (run, mid)) without rowid",
    "create table if not exists edit (edit integer primary key autoincrement, "
    "mid integer not null, status text, after_run integer not null)",
};

constexpr std::array kinds = {"start", "resume", "rerun", "resend", "reset"};

bool hasTable(Connection &list, const char *name)
{
    return list.number(u"select count(*) from sqlite_master where type='table' and name="_s +
                       quoted(QLatin1String(name))) > 0;
}

QString randomId()
{
    std::array<quint32, 4> words{};
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char *>(words.data()), sizeof words).toHex());
}

QString number(qint64 value)
{
    return QString::number(value);
}

/// The result that table `outcome` has last for the recipient of the surrounding statement.
QString lastResult(const QString &runs)
{
    return u"(select result from outcome where outcome.mid=email.mid and run in "_s + runs +
           u" order by run desc limit 1)"_s;
}

LedgerRun ledgerRun(const Record &record)
{
    const QString kind = record.text(u"kind"_s);
    LedgerRun run;
    run.number = record.number(u"run"_s);
    run.jobId = record.number(u"jobid"_s);
    run.jobName = record.text(u"jobname"_s);
    run.series = record.number(u"series"_s);
    run.content = record.number(u"content"_s);
    for (size_t i = 0; i < kinds.size(); ++i) {
        if (kind == QLatin1String(kinds[i]))
            run.kind = RunKind(i);
    }
    run.rerun = int(record.number(u"rerun"_s));
    run.pass = record.number(u"pass"_s);
    run.withDoubts = record.number(u"doubts"_s) != 0;
    run.started = record.text(u"started"_s);
    run.ended = record.text(u"ended"_s);
    run.how = record.text(u"how"_s);
    run.place = record.number(u"place"_s);
    return run;
}

} // namespace

QString wordOf(RunKind kind)
{
    return QLatin1String(kinds[size_t(kind)]);
}

QByteArray SentContent::digest() const
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString &text : {subject, senderName, senderAddress, format, body, attachments}) {
        const QByteArray bytes = text.toUtf8();
        hash.addData(QByteArray::number(bytes.size()) + '\n');
        hash.addData(bytes);
    }
    return hash.result().toHex();
}

bool Ledger::isIn(Connection &list)
{
    return hasTable(list, "outcome") || hasTable(list, "sending");
}

Ledger::Ledger(Connection &list)
    : m_list(list)
{
    if (hasTable(list, "outcome") && !hasTable(list, "sending"))
        return;
    Transaction transaction(list);
    for (const char *table : tables)
        list.execute(QLatin1String(table));
    if (hasTable(list, "sending")) {
        takeOver();
        list.execute(u"drop table sending"_s);
    }
    transaction.commit();
}

/// A row of table `sending` is of a run that was cut off, or says what a job is to be.
void Ledger::takeOver()
{
    // Its first form said only how far a run was.
    const bool saysEnd = m_list.number(u"select count(*) from pragma_table_info('sending')"_s) > 3;
    std::vector<Record> rows;
    for (Recordset all(m_list, u"select jobid, start_time, last_mid, "_s +
                                   (saysEnd ? u"progress, end_time"_s
                                            : u"null as progress, null as end_time"_s) +
                                   u" from sending"_s);
         !all.atEnd(); all.moveNext())
        rows.push_back(all.current());
    for (const Record &row : rows) {
        LedgerRun run;
        run.jobId = row.number(u"jobid"_s);
        run.kind = RunKind::Resume;
        run.started = row.text(u"start_time"_s);
        run.ended = row.text(u"end_time"_s);
        run.how = row.text(u"progress"_s);
        run.place = row.number(u"last_mid"_s);
        const bool isCutOff = row.isNull(u"progress"_s);
        if (!isCutOff && run.how.isEmpty()) {
            noteReset(run.jobId);
            continue;
        }
        run.series = takeOverSeries(run.jobId, run.place).number;
        begin(run);
        if (!isCutOff)
            end(run);
    }
}

std::optional<Series> Ledger::seriesOf(qint64 jobId) const
{
    const Recordset rows(m_list, u"select * from series where jobid=%1 and unsent is null "
                                 "order by series desc limit 1"_s.arg(jobId));
    if (rows.atEnd())
        return {};
    const Record &row = rows.current();
    return Series{row.number(u"series"_s), row.text(u"id"_s), jobId, row.number(u"selected"_s),
                  row.number(u"last_mid"_s)};
}

Series Ledger::beginSeries(qint64 jobId, qint64 selected, qint64 lastMid)
{
    close(jobId);
    Series series{0, randomId(), jobId, selected, lastMid};
    m_list.execute(
        u"insert into series (id, jobid, selected, last_mid) values (%1, %2, %3, %4)"_s.arg(
            quoted(series.id), number(jobId), number(selected), number(lastMid)));
    series.number = m_list.number(u"select last_insert_rowid()"_s);
    return series;
}

Series Ledger::takeOverSeries(qint64 jobId, qint64 place)
{
    Series series = beginSeries(jobId, m_list.number(u"select count(*) from email"_s),
                                m_list.number(u"select max(mid) from email"_s));
    takeOverOutcomes(series, place,
                     u" from email where mid <= %1 and status in ('S', 'F')"_s.arg(place), 0);
    return series;
}

/// The states that recipients have in the list count as outcomes of a run. `added`: how many of
/// them did not belong to the series.
void Ledger::takeOverOutcomes(Series &series, qint64 place, const QString &recipients, qint64 added)
{
    LedgerRun run;
    run.jobId = series.jobId;
    run.series = series.number;
    run.kind = RunKind::Resume;
    run.place = place;
    run.how = u"Taken over"_s;
    begin(run);
    m_list.execute(
        u"insert into outcome select %1, mid, email, case when status='F' and remark "
        "like '4%' then 'T' else status end, coalesce(remark, ''), '', 0, ''"_s.arg(run.number) +
        recipients);
    end(run);
    markStored(run.jobId);
    series.selected += added;
    m_list.execute(
        u"update series set selected=%1 where series=%2"_s.arg(series.selected).arg(series.number));
}

void Ledger::takeOverFailures(Series &series)
{
    // Its members are those up to its last one, and whoever else has an outcome in it.
    const QString strangers =
        u" from email where status='F' and mid > %1 and not exists (select * from outcome where "
        "outcome.mid=email.mid and run in %2)"_s.arg(number(series.lastMid), runsOf(series.number));
    const qint64 count = m_list.number(u"select count(*)"_s + strangers);
    if (count > 0)
        takeOverOutcomes(series, 0, strangers, count);
}

void Ledger::extendToEnd(Series &series)
{
    const qint64 last = m_list.number(u"select max(mid) from email"_s);
    if (last <= series.lastMid)
        return;
    const qint64 former = std::exchange(series.lastMid, last);
    series.selected += m_list.number(u"select count(*) from email"_s + withoutOutcome(series) +
                                     u" and mid > %1"_s.arg(former));
    m_list.execute(u"update series set selected=%1, last_mid=%2 where series=%3"_s.arg(
        number(series.selected), number(series.lastMid), number(series.number)));
}

void Ledger::close(qint64 jobId)
{
    if (const auto series = seriesOf(jobId))
        m_list.execute(
            u"update series set unsent=(select count(*) from email %1) where series=%2"_s.arg(
                withoutOutcome(*series), number(series->number)));
}

qint64 Ledger::keep(const SentContent &content)
{
    const QString digest = quoted(QString::fromLatin1(content.digest()));
    const QString find = u"select content from content where digest="_s + digest;
    if (const qint64 known = m_list.number(find); known > 0)
        return known;
    QStringList values{digest};
    for (const QString &text : {content.subject, content.senderName, content.senderAddress,
                                content.format, content.body, content.attachments})
        values += quoted(text);
    m_list.execute(u"insert into content (digest, subject, sendername, senderemail, format, "
                   "source, attachments) values ("_s +
                   values.join(u", "_s) + u')');
    return m_list.number(find);
}

qint64 Ledger::haveOther(const Series &series, const QByteArray &digest) const
{
    return m_list.number(u"select count(*) from outcome join run using (run) join content using "
                         "(content) where series=%1 and result='S' and digest<>%2"_s.arg(
                             number(series.number), quoted(QString::fromLatin1(digest))));
}

void Ledger::begin(LedgerRun &run)
{
    m_list.execute(u"insert into run (jobid, jobname, series, content, kind, rerun, pass, doubts, "
                   "started, place) values (%1, %2, %3, %4, %5, %6, %7, %8, %9, %10)"_s
                       .arg(number(run.jobId), quoted(run.jobName),
                            run.series == 0 ? u"null"_s : number(run.series),
                            run.content == 0 ? u"null"_s : number(run.content),
                            quoted(wordOf(run.kind)), number(run.rerun), number(run.pass),
                            number(run.withDoubts), quoted(run.started))
                       .arg(run.place));
    run.number = m_list.number(u"select last_insert_rowid()"_s);
    if (run.pass != 0)
        return;
    run.pass = run.number;
    m_list.execute(u"update run set pass=run where run=%1"_s.arg(run.number));
}

void Ledger::end(const LedgerRun &run)
{
    const QString count = u"(select count(*) from outcome where run=%1 and result in (%2))"_s;
    m_list.execute(
        u"update run set ended=%1, how=%2, place=%3, sent=%4, failed=%5, doubt=%6 where run=%7"_s
            .arg(quoted(run.ended), quoted(run.how), number(run.place),
                 count.arg(number(run.number), u"'S'"_s),
                 count.arg(number(run.number), u"'F', 'T'"_s),
                 count.arg(number(run.number), u"'D'"_s), number(run.number)));
}

void Ledger::markStored(qint64 jobId)
{
    m_list.execute(u"update run set stored=1 where jobid=%1"_s.arg(jobId));
}

std::optional<LedgerRun> Ledger::lastRun(qint64 jobId) const
{
    const Recordset rows(
        m_list, u"select * from run where jobid=%1 order by run desc limit 1"_s.arg(jobId));
    if (rows.atEnd())
        return {};
    return ledgerRun(rows.current());
}

bool Ledger::isStored(qint64 jobId) const
{
    return m_list.number(u"select count(*) from run where jobid=%1 and stored=0"_s.arg(jobId)) == 0;
}

std::vector<LedgerRun> Ledger::openRuns() const
{
    std::vector<LedgerRun> runs;
    for (Recordset rows(m_list, u"select * from run where how is null and kind<>'reset'"_s);
         !rows.atEnd(); rows.moveNext())
        runs.push_back(ledgerRun(rows.current()));
    return runs;
}

std::optional<LedgerEntry> Ledger::openDoubt(qint64 run) const
{
    const Recordset rows(m_list, u"select * from outcome where run=%1 and result='D' "
                                 "order by mid desc limit 1"_s.arg(run));
    if (rows.atEnd())
        return {};
    const Record &row = rows.current();
    return LedgerEntry{row.number(u"mid"_s),  row.text(u"address"_s), Fate::InDoubt,
                       row.text(u"reason"_s), row.text(u"reply"_s),   row.text(u"messageid"_s)};
}

qint64 Ledger::lastHandled(qint64 run) const
{
    return m_list.number(u"select max(mid) from outcome where run=%1"_s.arg(run));
}

QString Ledger::runsOf(qint64 series) const
{
    QStringList runs;
    for (Recordset rows(m_list, u"select run from run where series=%1"_s.arg(series));
         !rows.atEnd(); rows.moveNext())
        runs += rows.current().text(u"run"_s);
    return u'(' + runs.join(u", "_s) + u')';
}

QString Ledger::withoutOutcome(const Series &series) const
{
    const QString runs = runsOf(series.number);
    QString condition = u" where mid <= %1"_s.arg(series.lastMid);
    if (runs != "()"_L1)
        condition += u" and not exists (select * from outcome where outcome.mid=email.mid and run "
                     "in "_s +
                     runs + u')';
    return condition;
}

QString Ledger::temporaryFailures(const Series &series, bool withDoubts) const
{
    return u" where status='F' and "_s + lastResult(runsOf(series.number)) +
           (withDoubts ? u" in ('T', 'D')"_s : u" = 'T'"_s);
}

QString Ledger::inDoubt(const Series &series) const
{
    return u" where status='F' and "_s + lastResult(runsOf(series.number)) + u" = 'D'"_s;
}

QString Ledger::notHandledSince(const Series &series, qint64 pass) const
{
    return u" and not exists (select * from outcome where outcome.mid=email.mid and run >= %1 and "
           "run in %2)"_s.arg(number(pass), runsOf(series.number));
}

QString Ledger::failed(bool withDoubts)
{
    const QString all = u" where status='F'"_s;
    return withDoubts ? all
                      : all + u" and substr(coalesce(remark, ''), 1, %1) <> %2"_s.arg(
                                  number(inDoubtPrefix.size()), quoted(inDoubtPrefix));
}

QString Ledger::inDoubt()
{
    return u" where status='F' and substr(coalesce(remark, ''), 1, %1) = %2"_s.arg(
        number(inDoubtPrefix.size()), quoted(inDoubtPrefix));
}

void Ledger::noteReset(qint64 jobId)
{
    close(jobId);
    LedgerRun run;
    run.jobId = jobId;
    run.kind = RunKind::Reset;
    // Whom it reached: those that are added later have not been forgotten.
    run.place = m_list.number(u"select max(mid) from email"_s);
    begin(run);
    m_list.execute(u"update run set how='' where run=%1"_s.arg(run.number));
}

void Ledger::noteEdit(Connection &list, qint64 mid, const QString &status)
{
    if (!hasTable(list, "outcome"))
        return;
    list.execute(
        u"insert into edit (mid, status, after_run) values (%1, %2, (select coalesce(max(run), 0) "
        "from run where (kind='reset' and place >= %1) or exists (select * from outcome where "
        "outcome.run=run.run and mid=%1)))"_s.arg(number(mid),
                                                  status.isEmpty() ? u"null"_s : quoted(status)));
}

void Ledger::noteRemoval(Connection &list, const QString &condition, bool forget)
{
    if (!hasTable(list, "outcome"))
        return;
    std::vector<std::pair<qint64, qint64>> open; // series and its last recipient
    for (Recordset rows(list, u"select series, last_mid from series where unsent is null"_s);
         !rows.atEnd(); rows.moveNext())
        open.emplace_back(rows.current().number(u"series"_s), rows.current().number(u"last_mid"_s));
    const QString where = condition.isEmpty() ? u" where true"_s : condition;
    for (const auto &[series, lastMid] : open)
        list.execute(
            u"insert into outcome select (select max(run) from run where series=%1), mid, %2, 'R', "
            "'', '', 0, '' from email %3 and mid <= %4 and not exists (select * from outcome join "
            "run using (run) where outcome.mid=email.mid and run.series=%1)"_s.arg(
                number(series), forget ? u"''"_s : u"email"_s, where, number(lastMid)));
    if (!forget)
        return;
    list.execute(u"pragma secure_delete=on"_s);
    list.execute(
        u"update outcome set address='', reason='', reply='' where mid in (select mid from "
        "email "_s +
        where + u')');
}

bool Ledger::knows(Connection &list, const QString &condition)
{
    return hasTable(list, "outcome") &&
           list.number(u"select exists (select * from outcome where address<>'' and mid in (select "
                       "mid from email "_s +
                       condition + u"))"_s) > 0;
}

qint64 Ledger::runCount(Connection &list)
{
    return hasTable(list, "outcome")
               ? list.number(u"select count(*) from run where kind<>'reset'"_s)
               : 0;
}

qint64 Ledger::forgetBefore(Connection &list, const QString &day)
{
    if (!hasTable(list, "outcome"))
        return 0;
    list.execute(u"pragma secure_delete=on"_s);
    list.execute(
        u"update outcome set address='', reason='', reply='' where address || reason || "
        "reply <> '' and run in (select run from run where started < %1)"_s.arg(quoted(day)));
    return list.number(u"select changes()"_s);
}

void Ledger::clear(Connection &list)
{
    if (!isIn(list))
        return;
    for (const char *table : {"outcome", "edit", "run", "series", "content", "sending"})
        list.execute(u"drop table if exists "_s + QLatin1String(table));
    list.execute(u"vacuum"_s);
}

LedgerWriter::LedgerWriter(Connection &list, qint64 run)
    : m_run(run)
    , m_put(list, u"insert or replace into outcome values (?, ?, ?, ?, ?, ?, ?, ?)"_s)
    , m_take(list, u"delete from outcome where run=? and mid=?"_s)
{
}

void LedgerWriter::put(const LedgerEntry &entry, qint64 at)
{
    m_put.run(m_run, entry.mid, entry.address, QString(QLatin1Char(char(entry.fate))), entry.reason,
              entry.reply, at, entry.messageId);
}

void LedgerWriter::take(qint64 mid)
{
    m_take.run(m_run, mid);
}
