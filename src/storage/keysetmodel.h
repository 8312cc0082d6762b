#pragma once

#include "keyset.h"

#include <QAbstractTableModel>
#include <QBasicTimer>

#include <functional>

/// The rows of a Keyset for a grid, read when they are shown.
///
/// The first rows are there when open() returns; the others appear in the following moments while
/// the window goes on living, so that a million rows open at once.
class KeysetModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /// More rows than any screen shows: how many keys a Keyset for a grid is made with.
    static constexpr qsizetype firstKeys = 512;

    using QAbstractTableModel::QAbstractTableModel;

    /// Whether the last open() succeeded.
    bool isLoaded() const { return m_rows != nullptr; }
    /// False while rows are still appearing.
    bool isComplete() const { return !m_rows || m_rows->isComplete(); }
    /// Lets all rows appear now. Throws StorageError.
    void complete();

    int rowCount(const QModelIndex &parent = {}) const override;

signals:
    /// Reading rows failed after open() had returned; said once for each open().
    void failed(const QString &description);

protected:
    /// Replaces the rows by those that `make` returns. Throws what it throws, and then holds none.
    void open(const std::function<std::unique_ptr<Keyset>()> &make);
    /// To be told of an error while a view asks for data, which is no time for a message box.
    void fail(const StorageError &error) const;
    void timerEvent(QTimerEvent *event) override;

    std::unique_ptr<Keyset> m_rows;
    int m_rowCount = 0;

private:
    void readKeys(const std::function<bool()> &goOn);

    QBasicTimer m_timer;
    mutable bool m_hasFailed = false;
};
