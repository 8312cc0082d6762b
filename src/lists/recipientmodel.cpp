#include "recipientmodel.h"

#include "ledger.h"
#include "plaintooltip.h"
#include "sqltext.h"

#include <algorithm>

namespace
{

constexpr int statusField = 8;

/// As a statement holds it. An empty status means "not sent yet", and an address of blanks is
/// refused as none.
QString value(int field, const QString &text)
{
    const bool isNull = (field == RecipientQuery::Email && text.trimmed().isEmpty()) ||
                        (field == statusField && text.isEmpty());
    return isNull ? QStringLiteral("null") : quoted(text);
}

} // namespace

void RecipientModel::load(const QString &listConnectionString, const RecipientQuery &query)
{
    open([&] {
        m_listConnectionString = listConnectionString;
        m_changedRow = -1;
        m_isAdded = false;
        m_changes.clear();
        return std::make_unique<Keyset>(listConnectionString, QStringLiteral("email"),
                                        RecipientQuery::columns(), query.condition(), query.order(),
                                        firstKeys);
    });
}

int RecipientModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(RecipientQuery::titles().size());
}

QVariant RecipientModel::data(const QModelIndex &index, int role) const
{
    // Most texts are longer than their column; the tip shows them whole.
    if (!index.isValid() ||
        (role != Qt::DisplayRole && role != Qt::EditRole && role != Qt::ToolTipRole))
        return {};
    try {
        return role == Qt::ToolTipRole ? plainToolTip(text(index)) : text(index);
    } catch (const StorageError &e) {
        fail(e);
    }
    return {};
}

QString RecipientModel::text(const QModelIndex &index) const
{
    const int field = index.column() + 1;
    if (index.row() == m_changedRow && (m_isAdded || m_changes.contains(field)))
        return m_changes.value(field);
    const Record *row = m_rows->row(index.row());
    return row ? row->value(field).value_or(QString()) : QString();
}

bool RecipientModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || role != Qt::EditRole ||
        (m_changedRow >= 0 && index.row() != m_changedRow))
        return false;
    // Leaving a cell as it was is no change.
    if (value.toString() != data(index, Qt::EditRole).toString()) {
        m_changedRow = index.row();
        m_changes.insert(index.column() + 1, value.toString());
        emit dataChanged(index, index);
    }
    return true;
}

Qt::ItemFlags RecipientModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return index.isValid() ? flags | Qt::ItemIsEditable : flags;
}

QVariant RecipientModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles = RecipientQuery::titles();
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return titles.value(section);
}

void RecipientModel::addRow()
{
    complete();
    beginInsertRows({}, m_rowCount, m_rowCount);
    m_changedRow = m_rowCount++;
    m_isAdded = true;
    endInsertRows();
}

bool RecipientModel::isAccountedFor(int row) const
{
    if (row >= 0 && isAdded(row))
        return false;
    Connection list(m_listConnectionString);
    return Ledger::knows(list, row < 0 ? QStringLiteral("where true")
                                       : QStringLiteral("where mid=%1").arg(m_rows->key(row)));
}

void RecipientModel::deleteRow(int row, bool forget)
{
    if (!isAdded(row))
        deleteRecipients(QStringLiteral(" where mid=%1").arg(m_rows->key(row)), forget);
    dropRow(row);
}

void RecipientModel::deleteAll(bool forget)
{
    deleteRecipients(QStringLiteral(" where true"), forget);
}

void RecipientModel::deleteRecipients(const QString &condition, bool forget)
{
    Connection list(m_listConnectionString);
    Transaction transaction(list);
    Ledger::noteRemoval(list, condition, forget);
    list.execute(QStringLiteral("delete from email") + condition);
    transaction.commit();
}

/// Takes out a row that the database has not, or no longer.
void RecipientModel::dropRow(int row)
{
    beginRemoveRows({}, row, row);
    if (!isAdded(row))
        m_rows->remove(row);
    --m_rowCount;
    if (row == m_changedRow) {
        m_changedRow = -1;
        m_isAdded = false;
        m_changes.clear();
    } else if (row < m_changedRow) {
        --m_changedRow;
    }
    endRemoveRows();
}

void RecipientModel::saveChanges()
{
    if (m_changedRow < 0)
        return;
    const bool isBlank = std::all_of(m_changes.cbegin(), m_changes.cend(),
                                     [](const QString &text) { return text.isEmpty(); });
    if (m_isAdded && isBlank)
        return dropRow(m_changedRow);
    if (m_isAdded) {
        m_rows->append(insert());
    } else {
        update();
        m_rows->forgetRows();
    }
    m_isAdded = false;
    cancelChanges(); // they are in the database
}

/// Returns the new recipient's number.
qint64 RecipientModel::insert()
{
    QStringList columns;
    QStringList values;
    for (auto field = m_changes.cbegin(); field != m_changes.cend(); ++field) {
        columns += RecipientQuery::columnName(field.key());
        values += value(field.key(), field.value());
    }
    Connection list(m_listConnectionString);
    Transaction transaction(list);
    list.execute(QStringLiteral("insert into email (") + columns.join(u',') +
                 QStringLiteral(") values (") + values.join(u',') + u')');
    const qint64 mid = list.number(QStringLiteral("select last_insert_rowid()"));
    noteStatus(list, mid);
    transaction.commit();
    return mid;
}

void RecipientModel::update()
{
    QStringList settings;
    for (auto field = m_changes.cbegin(); field != m_changes.cend(); ++field)
        settings +=
            RecipientQuery::columnName(field.key()) + u'=' + value(field.key(), field.value());
    const qint64 mid = m_rows->key(m_changedRow);
    Connection list(m_listConnectionString);
    Transaction transaction(list);
    list.execute(QStringLiteral("update email set ") + settings.join(u',') +
                 QStringLiteral(" where mid=%1").arg(mid));
    if (list.number(QStringLiteral("select changes()")) == 0)
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("This recipient is no longer in the list."));
    noteStatus(list, mid);
    transaction.commit();
}

/// What a person says became of a recipient is an event of its own.
void RecipientModel::noteStatus(Connection &list, qint64 mid) const
{
    if (m_changes.contains(statusField))
        Ledger::noteEdit(list, mid, m_changes.value(statusField));
}

void RecipientModel::cancelChanges()
{
    if (m_changedRow < 0)
        return;
    if (m_isAdded)
        return dropRow(m_changedRow);
    const int row = m_changedRow;
    m_changedRow = -1;
    m_changes.clear();
    emit dataChanged(index(row, 0), index(row, columnCount() - 1));
}
