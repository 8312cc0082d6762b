#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

#include <array>

class Record;

/// Replaces the merge fields of a body template, such as "%%FIRSTNAME%%", by a recipient's data.
class MergeFields
{
public:
    /// The eight fields in the order in which they are replaced.
    static const QStringList &names();

    /// Notes which fields the template has.
    explicit MergeFields(const QString &bodyTemplate);

    /// The body for one recipient (a row of table `email`); `today` stands in for
    /// "%%SEND_DATE%%". Field after field is replaced in the whole text, so a value that holds a
    /// later field of the template has that replaced too. Values are not escaped.
    QString personalise(const Record &recipient, const QDate &today) const;

private:
    QString m_template;
    std::array<bool, 8> m_present;
};
