#pragma once

#include "statement.h"

/// Commits the outcome of one recipient after the other, and with it how far a normal run has come.
class OutcomeWriter
{
public:
    /// `jobId`: the job whose run marker moves along; 0 for a run over failures, which has none.
    OutcomeWriter(Connection &list, qint64 jobId);

    /// `status`: "S" or "F"; `reason` is empty for a success. Throws StorageError, with nothing of
    /// the outcome stored.
    void write(qint64 mid, const QString &status, const QString &reason);

private:
    qint64 m_jobId;
    Statement m_begin;
    Statement m_update;
    std::unique_ptr<Statement> m_advance;
    Statement m_commit;
    Statement m_rollback;
};
