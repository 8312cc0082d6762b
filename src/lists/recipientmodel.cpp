#include "recipientmodel.h"

#include <QElapsedTimer>
#include <QTimerEvent>

namespace
{

/// More rows than any screen shows.
constexpr qsizetype firstKeys = 512;
/// Read between two looks at the clock.
constexpr qsizetype keysPerStep = 128;
/// How long the window waits for a step; a search may look at many rows for each it finds.
constexpr qint64 stepMs = 8;

} // namespace

void RecipientModel::load(const QString &listConnectionString, const RecipientQuery &query)
{
    auto rows = std::make_unique<RecipientRows>(listConnectionString, RecipientQuery::columns(),
                                                query.condition(), query.order(), firstKeys);
    beginResetModel();
    m_rows = std::move(rows);
    m_rowCount = int(m_rows->size());
    m_hasFailed = false;
    endResetModel();
    if (m_rows->isComplete())
        m_timer.stop();
    else
        m_timer.start(0, this);
}

int RecipientModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rowCount;
}

int RecipientModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(RecipientQuery::titles().size());
}

QVariant RecipientModel::data(const QModelIndex &index, int role) const
{
    // Most texts are longer than their column; the tip shows them whole.
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    try {
        if (const Record *row = m_rows->row(index.row()))
            return row->value(index.column() + 1).value_or(QString());
    } catch (const StorageError &e) {
        if (!m_hasFailed) {
            m_hasFailed = true;
            // The view asks while it paints, which is no time for a message box.
            auto *self = const_cast<RecipientModel *>(this);
            QMetaObject::invokeMethod(
                self, [self, text = e.description()] { emit self->failed(text); },
                Qt::QueuedConnection);
        }
    }
    return {};
}

QVariant RecipientModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = RecipientQuery::titles();
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return titles.value(section);
}

void RecipientModel::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId())
        return QAbstractTableModel::timerEvent(event);
    QString failure;
    try {
        QElapsedTimer timer;
        timer.start();
        do
            m_rows->readKeys(keysPerStep);
        while (!m_rows->isComplete() && timer.elapsed() < stepMs);
    } catch (const StorageError &e) {
        failure = e.description();
    }
    if (m_rows->isComplete())
        m_timer.stop();
    if (m_rows->size() > m_rowCount) {
        beginInsertRows({}, m_rowCount, int(m_rows->size()) - 1);
        m_rowCount = int(m_rows->size());
        endInsertRows();
    }
    if (!failure.isEmpty() && !m_hasFailed) {
        m_hasFailed = true;
        emit failed(failure);
    }
}
