#include "recipientquery.h"

#include "sqltext.h"

namespace
{

const QStringList columnNames = {
    QStringLiteral("email"), QStringLiteral("fname"),   QStringLiteral("lname"),
    QStringLiteral("title"), QStringLiteral("contact"), QStringLiteral("company"),
    QStringLiteral("memo"),  QStringLiteral("status"),  QStringLiteral("remark")};

} // namespace

QStringList RecipientQuery::fieldNames()
{
    QStringList names = titles();
    names.last() = QStringLiteral("Reason");
    return names;
}

QStringList RecipientQuery::titles()
{
    return {QStringLiteral("Email"), QStringLiteral("Firstname"), QStringLiteral("Lastname"),
            QStringLiteral("Title"), QStringLiteral("Contact"),   QStringLiteral("Company"),
            QStringLiteral("Memo"),  QStringLiteral("Status"),    QStringLiteral("Fail Reason")};
}

QString RecipientQuery::columnName(int field)
{
    return columnNames[field - 1];
}

QString RecipientQuery::columns()
{
    QStringList columns;
    for (qsizetype i = 0; i < columnNames.size(); ++i)
        columns += QStringLiteral("%1 as [%2]").arg(columnNames[i], titles()[i]);
    return columns.join(QLatin1Char(','));
}

QString RecipientQuery::condition() const
{
    if (searchText.isEmpty())
        return {};
    const QString pattern = quoted(u'%' + searchText + u'%');
    QStringList matches;
    for (const QString &column :
         searchField == 0 ? columnNames : QStringList{columnName(searchField)})
        matches += column + QStringLiteral(" like ") + pattern;
    return QStringLiteral(" where (") + matches.join(QStringLiteral(" or ")) + u')';
}

QString RecipientQuery::order() const
{
    if (sortField == 0)
        return QStringLiteral(" order by mid");
    // Letter case does not part names in the grid; equal ones keep the list's order.
    return QStringLiteral(" order by email.") + columnName(sortField) +
           QStringLiteral(" collate nocase, mid");
}
