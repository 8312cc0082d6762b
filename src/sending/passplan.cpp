#include "passplan.h"

#include "connection.h"
#include "messagestore.h"
#include "recipientrecords.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{

QString selection(const Ledger &ledger, const Series &series, const PassPlan &plan)
{
    QString condition;
    switch (plan.kind) {
    case RunKind::Start:
        return u" where mid <= %1"_s.arg(series.lastMid);
    case RunKind::Rerun:
        condition = ledger.temporaryFailures(series, plan.withDoubts);
        break;
    case RunKind::Resend:
        condition = Ledger::failed(plan.withDoubts);
        break;
    default:
        return ledger.withoutOutcome(series);
    }
    return plan.pass == 0 ? condition : condition + ledger.notHandledSince(series, plan.pass);
}

/// The series that the plan goes on with, and makes where there is none.
Series seriesFor(Ledger &ledger, Connection &list, const JobRow &job, const PassPlan &plan)
{
    const qint64 id = job.number(JobCell::Id);
    if (plan.kind == RunKind::Start)
        return ledger.beginSeries(id, countRecipients(list),
                                  list.number(u"select max(mid) from email"_s));
    std::optional<Series> series = ledger.seriesOf(id);
    if (plan.kind == RunKind::Resend) {
        if (!series)
            series = ledger.beginSeries(id, 0, 0);
        ledger.takeOverFailures(*series);
    } else {
        if (!series)
            series = ledger.takeOverSeries(id, job.number(JobCell::LastSentId));
        if (plan.kind == RunKind::Resume)
            ledger.extendToEnd(*series);
    }
    return *series;
}

} // namespace

PassPlan planOfStart(Connection &list, const JobRow &job)
{
    PassPlan plan;
    const bool isPaused = job[JobCell::Progress] == "Paused"_L1;
    const bool isPartDone = job.number(JobCell::LastSentId) != 0;
    if (!Ledger::isIn(list)) {
        plan.kind = isPartDone ? RunKind::Resume : RunKind::Start;
        return plan;
    }
    const Ledger ledger(list);
    const bool hasSeries = ledger.seriesOf(job.number(JobCell::Id)).has_value();
    const auto last = ledger.lastRun(job.number(JobCell::Id));
    plan.kind = isPartDone || (isPaused && hasSeries) ? RunKind::Resume : RunKind::Start;
    if (isPaused && hasSeries && last &&
        (last->kind == RunKind::Rerun || last->kind == RunKind::Resend))
        plan = {last->kind, last->rerun, last->pass, last->withDoubts};
    return plan;
}

SentContent contentOf(const JobMessage &message)
{
    SentContent content{message.subject, message.senderName, message.senderAddress,
                        message.format,  message.body,       {}};
    for (const QString &path : message.attachmentPaths()) {
        QFile file(path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        if (file.open(QIODevice::ReadOnly))
            hash.addData(&file);
        content.attachments +=
            QString::fromLatin1(hash.result().toHex()) + u' ' + QFileInfo(path).fileName() + u'\n';
    }
    return content;
}

ChangedContent changedContent(Connection &list, const JobRow &job, const PassPlan &plan,
                              const SentContent &content)
{
    if (plan.kind == RunKind::Start || !Ledger::isIn(list))
        return {};
    const Ledger ledger(list);
    auto series = ledger.seriesOf(job.number(JobCell::Id));
    if (!series)
        return {};
    const qint64 haveOld = ledger.haveOther(*series, content.digest());
    series->lastMid = list.number(u"select max(mid) from email"_s);
    return {haveOld, haveOld == 0 ? 0 : countRecipients(list, selection(ledger, *series, plan))};
}

BegunPass beginPass(Connection &list, const JobRow &job, const PassPlan &plan,
                    const SentContent &content)
{
    Ledger ledger(list);
    Transaction transaction(list);
    BegunPass begun;
    begun.series = seriesFor(ledger, list, job, plan);
    begun.condition = selection(ledger, begun.series, plan);
    begun.digest = content.digest();
    LedgerRun &run = begun.run;
    run.jobId = job.number(JobCell::Id);
    run.jobName = job[JobCell::Name];
    run.series = begun.series.number;
    run.content = ledger.keep(content);
    run.kind = plan.kind;
    run.rerun = plan.rerun;
    run.pass = plan.pass;
    run.withDoubts = plan.withDoubts;
    run.started = job[JobCell::Start];
    run.place = job.number(JobCell::LastSentId);
    ledger.begin(run);
    transaction.commit();
    return begun;
}
