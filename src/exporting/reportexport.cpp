#include "reportexport.h"

#include "delimitedtarget.h"
#include "keyset.h"
#include "programfolder.h"
#include "report.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 peoplePerStep = 256;

/// What holds a comma, a quote or a line end stands between quotes.
std::string csvField(const QString &text)
{
    const bool isPlain = std::none_of(text.begin(), text.end(), [](QChar c) {
        return c == u',' || c == u'"' || c == u'\r' || c == u'\n';
    });
    return isPlain ? text.toStdString()
                   : (u'"' + QString(text).replace(u'"', u"\"\""_s) + u'"').toStdString();
}

void write(RecordTarget &target, const QStringList &cells)
{
    std::vector<std::string> fields;
    for (const QString &cell : cells)
        fields.push_back(csvField(cell));
    target.write(fields);
}

} // namespace

QStringList reportColumns()
{
    return {u"email"_s, u"name"_s,   u"result"_s, u"time"_s,
            u"run"_s,   u"reason"_s, u"reply"_s,  u"messageid"_s};
}

QStringList reportCells(const Record &person)
{
    const qint64 at = person.number(u"at"_s);
    return {person.text(u"address"_s),
            person.text(u"name"_s),
            wordOf(reportedResult(person.text(u"result"_s))),
            at == 0 ? QString() : QDateTime::fromSecsSinceEpoch(at).toString(Qt::ISODate),
            person.text(u"run"_s),
            person.text(u"reason"_s),
            person.text(u"reply"_s),
            person.text(u"messageid"_s)};
}

qint64 writeReport(const ProgramFolder &folder, Keyset &people, const QString &path,
                   const std::function<bool(qint64 written)> &goOn)
{
    folder.refuseOwnFile(path);
    DelimitedFileTarget target(path, u","_s);
    write(target, reportColumns());
    people.readKeys(Keyset::all);
    qint64 written = 0;
    for (qsizetype i = 0; i < people.size(); ++i) {
        if (i % peoplePerStep == 0 && !goOn(written))
            return written;
        if (const Record *person = people.row(i)) {
            write(target, reportCells(*person));
            ++written;
        }
    }
    target.finish();
    return written;
}
