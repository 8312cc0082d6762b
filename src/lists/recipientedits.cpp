#include "recipientedits.h"

#include "connection.h"
#include "recipientquery.h"
#include "sqltext.h"

#include <QStringList>

namespace
{

constexpr int statusField = 8;

QString value(int field, const QString &text)
{
    const bool isNull = (field == RecipientQuery::Email && text.trimmed().isEmpty()) ||
                        (field == statusField && text.isEmpty());
    return isNull ? QStringLiteral("null") : quoted(text);
}

} // namespace

qint64 insertRecipient(const QString &listConnectionString, const RecipientChanges &fields)
{
    QStringList columns;
    QStringList values;
    for (auto field = fields.cbegin(); field != fields.cend(); ++field) {
        columns += RecipientQuery::columnName(field.key());
        values += value(field.key(), field.value());
    }
    Connection list(listConnectionString);
    list.execute(QStringLiteral("insert into email (%1) values (").arg(columns.join(u',')) +
                 values.join(u',') + u')');
    return list.number(QStringLiteral("select last_insert_rowid()"));
}

void updateRecipient(const QString &listConnectionString, qint64 number,
                     const RecipientChanges &changes)
{
    QStringList settings;
    for (auto field = changes.cbegin(); field != changes.cend(); ++field)
        settings +=
            RecipientQuery::columnName(field.key()) + u'=' + value(field.key(), field.value());
    Connection list(listConnectionString);
    list.execute(QStringLiteral("update email set ") + settings.join(u',') +
                 QStringLiteral(" where mid=") + QString::number(number));
    if (list.number(QStringLiteral("select changes()")) == 0)
        throw StorageError(0, QStringLiteral("Quillbright"),
                           QStringLiteral("This recipient is no longer in the list."));
}

void deleteRecipient(const QString &listConnectionString, qint64 number)
{
    Connection(listConnectionString)
        .execute(QStringLiteral("delete from email where mid=%1").arg(number));
}

void deleteAllRecipients(const QString &listConnectionString)
{
    Connection(listConnectionString).execute(QStringLiteral("delete from email"));
}
