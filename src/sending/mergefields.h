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
    /// The same for values that are at hand, in the order of names().
    QString personalise(const std::array<QString, 8> &values) const;

private:
    /// `valueOf(i)` is asked only for fields of the template.
    template <typename ValueOf>
    QString merge(ValueOf valueOf) const;

    QString m_template;
    std::array<bool, 8> m_present;
};
