#include "outcomewriter.h"

#include "interruptedrun.h"

#include "storageerror.h"

OutcomeWriter::OutcomeWriter(Connection &list, qint64 jobId)
    : m_jobId(jobId)
    , m_begin(list, QStringLiteral("begin immediate"))
    , m_update(list, QStringLiteral("update email set status=?, remark=? where mid=?"))
    , m_advance(jobId == 0 ? nullptr : RunMarker::advanceStatement(list))
    , m_commit(list, QStringLiteral("commit"))
    , m_rollback(list, QStringLiteral("rollback"))
{
}

void OutcomeWriter::write(qint64 mid, const QString &status, const QString &reason)
{
    m_begin.run();
    try {
        m_update.run(status, reason, mid);
        if (m_advance)
            m_advance->run(mid, m_jobId);
        m_commit.run();
    } catch (const StorageError &) {
        try {
            m_rollback.run();
        } catch (const StorageError &) {
            // The engine has undone it by itself.
        }
        throw;
    }
}
