#include "mergefields.h"

#include "recordset.h"

#include <QLocale>

namespace
{

/// The columns behind the fields; the first field is the date.
const std::array<QString, 8> columns = {QString(),
                                        QStringLiteral("email"),
                                        QStringLiteral("fname"),
                                        QStringLiteral("lname"),
                                        QStringLiteral("title"),
                                        QStringLiteral("contact"),
                                        QStringLiteral("company"),
                                        QStringLiteral("memo")};

} // namespace

const QStringList &MergeFields::names()
{
    static const QStringList names = {
        QStringLiteral("%%SEND_DATE%%"), QStringLiteral("%%EMAIL%%"),
        QStringLiteral("%%FIRSTNAME%%"), QStringLiteral("%%LASTNAME%%"),
        QStringLiteral("%%TITLE%%"),     QStringLiteral("%%CONTACT%%"),
        QStringLiteral("%%COMPANY%%"),   QStringLiteral("%%MEMO%%"),
    };
    return names;
}

MergeFields::MergeFields(const QString &bodyTemplate)
    : m_template(bodyTemplate)
{
    for (size_t i = 0; i < m_present.size(); ++i)
        m_present[i] = bodyTemplate.contains(names()[qsizetype(i)]);
}

QString MergeFields::personalise(const Record &recipient, const QDate &today) const
{
    return merge([&](size_t i) {
        return i == 0 ? QLocale::system().toString(today, QLocale::ShortFormat)
                      : recipient.text(columns[i]);
    });
}

QString MergeFields::personalise(const std::array<QString, 8> &values) const
{
    return merge([&](size_t i) { return values[i]; });
}

template <typename ValueOf>
QString MergeFields::merge(ValueOf valueOf) const
{
    QString body = m_template;
    for (size_t i = 0; i < m_present.size(); ++i) {
        if (m_present[i])
            body.replace(names()[qsizetype(i)], valueOf(i));
    }
    return body;
}
