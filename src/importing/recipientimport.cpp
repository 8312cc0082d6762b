#include "recipientimport.h"

#include "delimitedsource.h"
#include "spreadsheet.h"

#include "listcatalogue.h"
#include "operator.h"
#include "programfolder.h"
#include "recipientrecords.h"
#include "yield.h"

#include <QRegularExpression>
#include <QScopeGuard>

namespace
{

const QString lineEnd = QStringLiteral("\r\n");

} // namespace

QStringList ImportCounts::panels() const
{
    return {QStringLiteral("Total:%1").arg(total()), QStringLiteral("S:%1").arg(successes),
            QStringLiteral("F:%1").arg(failures)};
}

QString ImportCounts::summary() const
{
    return QStringLiteral("Total Number of Records Imported : %1").arg(total()) + lineEnd +
           QStringLiteral("Number of Success : %1").arg(successes) + lineEnd +
           QStringLiteral("Number of Fail : %1").arg(failures) +
           (damaged == 0
                ? QString()
                : lineEnd + QStringLiteral("Lines with unreadable characters : %1").arg(damaged));
}

bool RecipientImport::isWorkbook(const QString &path)
{
    static const QRegularExpression end(QStringLiteral("\\.(xls|XLS) *\\z"));
    return end.match(path).hasMatch();
}

RecipientImport::Result RecipientImport::run(qint64 listId, const QString &path, bool asWorkbook,
                                             const QString &separator)
{
    m_counts = {};
    m_abort = false;
    m_log.clear();
    m_view.appendLog(QStringLiteral("Error Log:") + lineEnd);
    const Result result = import(listId, path, asWorkbook, separator);
    try {
        storeRecipientCount(m_folder, listId);
    } catch (const StorageError &e) {
        // A list that could not be opened a moment ago was told about already.
        if (result != Result::ListFailed)
            tellFailure(e.description());
        return Result::ListFailed;
    }
    return result;
}

RecipientImport::Result RecipientImport::import(qint64 listId, const QString &path, bool asWorkbook,
                                                const QString &separator)
{
    try {
        Connection list(m_folder.listConnectionString(listId));
        if (path.isEmpty()) {
            m_operator.tell(QStringLiteral("Please select a import file."),
                            QStringLiteral("Import"));
            return Result::NoFile;
        }
        const auto source = asWorkbook ? m_spreadsheet.read(path)
                                       : std::make_unique<DelimitedSource>(path, separator);
        copy(*source, list);
    } catch (const StorageError &e) {
        tellFailure(e.description());
        return e.isOfFile() ? Result::BadFile : Result::ListFailed;
    }
    m_operator.tell((m_abort ? QStringLiteral("The import was aborted.") + lineEnd : QString()) +
                    m_counts.summary());
    return m_abort ? Result::Aborted : Result::Complete;
}

void RecipientImport::copy(RecipientSource &source, Connection &list)
{
    RecipientInserter inserter(list, [this](auto number, auto fields, const QString &why) {
        ++m_counts.failures;
        m_log += refusalLine(number, fields, why) + lineEnd;
    });
    // However it ends, the counters say what is in the list.
    const auto settle = qScopeGuard([&] {
        m_counts.successes = inserter.added();
        show(source.progress());
    });
    Interval painting(m_paintEvery);
    try {
        while (!m_abort && source.next()) {
            if (source.isDamaged()) {
                ++m_counts.damaged;
                inserter.settle(); // the log names the lines in their order
                m_log += refusalLine(source.number(), source.record(),
                                     QStringLiteral("This line has bytes that are no character in "
                                                    "its encoding; \ufffd stands for each.")) +
                         lineEnd;
            }
            if (source.record().front().empty())
                m_counts.failures += !source.isEmpty();
            else
                inserter.add(source.number(), source.record());
            inserter.commitWhenDue();
            if (painting.isDue()) {
                inserter.settle();
                m_counts.successes = inserter.added();
                show(source.progress());
            }
        }
    } catch (const StorageError &) {
        // What comes before the place where a file cannot be read any more is kept.
        if (!inserter.hasFailed())
            inserter.finish();
        throw;
    }
    inserter.finish();
}

void RecipientImport::show(double progress)
{
    if (!m_log.isEmpty())
        m_view.appendLog(std::exchange(m_log, {}));
    m_view.showCounts(m_counts, progress);
    m_yield.yield();
}

void RecipientImport::tellFailure(const QString &description)
{
    m_operator.tell(description, QStringLiteral("ImportError"));
}
