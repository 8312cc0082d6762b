#pragma once

#include "recipientquery.h"
#include "recipientrows.h"

#include <QAbstractTableModel>
#include <QBasicTimer>

#include <memory>

/// The recipients of a list for a grid: nine columns, rows read when they are shown.
///
/// The first rows are there when load() returns; the others appear in the following moments while
/// the window goes on living, so that a list of a million opens at once.
class RecipientModel final : public QAbstractTableModel
{
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    /// Throws StorageError, and then still shows what it did.
    void load(const QString &listConnectionString, const RecipientQuery &query);
    /// False while rows are still appearing.
    bool isComplete() const { return !m_rows || m_rows->isComplete(); }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

signals:
    /// Reading rows failed after load() had returned; said once for each load.
    void failed(const QString &description);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    std::unique_ptr<RecipientRows> m_rows;
    int m_rowCount = 0;
    QBasicTimer m_timer;
    mutable bool m_hasFailed = false;
};
