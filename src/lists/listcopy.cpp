#include "listcopy.h"

#include "listcatalogue.h"

#include "connection.h"
#include "operator.h"
#include "recipientrecords.h"
#include "yield.h"

#include <utility>

/// All that tells the two kinds of copy apart.
struct ListCopy::Texts {
    const char *logStart;
    const char *status;
    const char *errorPrefix;
};

namespace
{

const QString lineEnd = QStringLiteral("\r\n");

} // namespace

ListCopy::ListCopy(const ProgramFolder &folder, Operator &op, ListCopyView &view, Yield &yield,
                   std::chrono::milliseconds paintEvery)
    : m_folder(folder)
    , m_operator(op)
    , m_view(view)
    , m_yield(yield)
    , m_paintEvery(paintEvery)
{
}

ListCopy::Result ListCopy::append(const std::vector<Source> &sources, qint64 target)
{
    if (!hasSources(sources))
        return Result::Refused;
    return run({"Adding emails from : ", "Adding emails from : ", "Append Error # "}, sources,
               target);
}

ListCopy::Result ListCopy::merge(const std::vector<Source> &sources, const QString &name,
                                 const QString &type)
{
    constexpr Texts texts{"Import : ", "Merging: ", "Merge Error # "};
    if (name.isEmpty()) {
        m_operator.tell(QStringLiteral("Please enter the listname !"));
        return Result::Refused;
    }
    if (!hasSources(sources))
        return Result::Refused;
    try {
        return run(texts, sources, ListCatalogue(m_folder).create(name, type));
    } catch (const StorageError &e) {
        tellError(texts, e);
        return Result::Failed;
    }
}

bool ListCopy::hasSources(const std::vector<Source> &sources)
{
    if (sources.empty())
        m_operator.tell(QStringLiteral("You must select a least one maillist from the list!"));
    return !sources.empty();
}

ListCopy::Result ListCopy::run(const Texts &texts, const std::vector<Source> &sources,
                               qint64 target)
{
    m_abort = false;
    m_log.clear();
    m_view.clearLog();
    m_view.appendLog(QStringLiteral("Error Log:") + lineEnd);
    m_view.showWaiting(true);
    Result result = Result::Failed;
    try {
        result = copyAll(texts, sources, target);
        if (result == Result::Complete)
            storeRecipientCount(m_folder, target);
    } catch (const StorageError &e) {
        m_view.appendLog(std::exchange(m_log, {}));
        m_view.showStatus({});
        m_view.showCount({});
        m_view.showWaiting(false);
        tellError(texts, e);
        return Result::Failed;
    }
    m_view.showWaiting(false);
    if (result == Result::Aborted)
        m_operator.tell(QStringLiteral("Abort !"));
    return result;
}

ListCopy::Result ListCopy::copyAll(const Texts &texts, const std::vector<Source> &sources,
                                   qint64 target)
{
    Connection list(m_folder.listConnectionString(target));
    for (const Source &source : sources) {
        m_view.appendLog(QLatin1String(texts.logStart) + source.entry + lineEnd);
        m_view.showStatus(QLatin1String(texts.status) + source.entry);
        copyList(texts, source, list);
        if (m_abort)
            return Result::Aborted;
    }
    m_view.showStatus({});
    m_view.showCount({});
    return Result::Complete;
}

void ListCopy::copyList(const Texts &texts, const Source &source, Connection &target)
{
    RecipientInserter inserter(target, [this](auto number, auto fields, const QString &why) {
        m_log += refusalLine(number, fields, why) + lineEnd;
    });
    Interval painting(m_paintEvery);
    RecipientRecord record;
    qint64 number = 0;
    try {
        Connection list(m_folder.listConnectionString(source.listId));
        RecipientReader reader(list);
        while (!m_abort && reader.next(record)) {
            inserter.add(++number, record);
            inserter.commitWhenDue();
            if (painting.isDue()) {
                inserter.settle();
                show(number);
            }
        }
        inserter.finish();
    } catch (const StorageError &e) {
        // A target that takes nothing more ends the run; a source that cannot be read only itself.
        if (inserter.hasFailed())
            throw;
        inserter.finish();
        show(number);
        tellError(texts, e);
        return;
    }
    show(number);
    m_view.appendLog(QStringLiteral("Total : %1\r\nSuccess : %2\r\nFail : %3\r\n\r\n")
                         .arg(number)
                         .arg(inserter.added())
                         .arg(number - inserter.added()));
}

void ListCopy::show(qint64 number)
{
    if (!m_log.isEmpty())
        m_view.appendLog(std::exchange(m_log, {}));
    m_view.showCount(QString::number(number));
    m_yield.yield();
}

void ListCopy::tellError(const Texts &texts, const StorageError &error)
{
    // The number has room for a sign before it.
    m_operator.tell(error.report(QLatin1String(texts.errorPrefix) + QLatin1Char(' ')),
                    QStringLiteral("Error"));
}
