#include "keysetmodel.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTimerEvent>

namespace
{

/// Read between two looks at the clock.
constexpr qsizetype keysPerStep = 128;
/// How long the window waits for a step; a search may look at many rows for each it finds.
constexpr qint64 stepMs = 8;

} // namespace

void KeysetModel::open(const std::function<std::unique_ptr<Keyset>()> &make)
{
    beginResetModel();
    const auto reset = qScopeGuard([this] { endResetModel(); });
    m_rows.reset();
    m_rowCount = 0;
    m_hasFailed = false;
    m_timer.stop();
    m_rows = make();
    m_rowCount = int(m_rows->size());
    if (!m_rows->isComplete())
        m_timer.start(0, this);
}

void KeysetModel::complete()
{
    if (!isComplete())
        readKeys([] { return true; });
}

int KeysetModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rowCount;
}

void KeysetModel::fail(const StorageError &error) const
{
    if (std::exchange(m_hasFailed, true))
        return;
    auto *self = const_cast<KeysetModel *>(this);
    QMetaObject::invokeMethod(
        self, [self, description = error.description()] { emit self->failed(description); },
        Qt::QueuedConnection);
}

void KeysetModel::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId())
        return QAbstractTableModel::timerEvent(event);
    try {
        QElapsedTimer timer;
        timer.start();
        readKeys([&timer] { return timer.elapsed() < stepMs; });
    } catch (const StorageError &e) {
        fail(e);
    }
}

void KeysetModel::readKeys(const std::function<bool()> &goOn)
{
    // What was read before a failure is shown as well.
    const auto show = qScopeGuard([this] {
        if (m_rows->isComplete())
            m_timer.stop();
        if (m_rows->size() == m_rowCount)
            return;
        beginInsertRows({}, m_rowCount, int(m_rows->size()) - 1);
        m_rowCount = int(m_rows->size());
        endInsertRows();
    });
    do
        m_rows->readKeys(keysPerStep);
    while (!m_rows->isComplete() && goOn());
}
