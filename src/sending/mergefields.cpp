#include "mergefields.h"

#include "recordset.h"

#include <QLocale>

using namespace Qt::StringLiterals;

namespace
{

/// The columns behind the fields; the first field is the date.
const std::array<QString, 8> columns = {QString(),  u"email"_s,   u"fname"_s,   u"lname"_s,
                                        u"title"_s, u"contact"_s, u"company"_s, u"memo"_s};

} // namespace

const QStringList &MergeFields::names()
{
    static const QStringList names = {
        u"%%SEND_DATE%%"_s, u"%%EMAIL%%"_s,   u"%%FIRSTNAME%%"_s, u"%%LASTNAME%%"_s,
        u"%%TITLE%%"_s,     u"%%CONTACT%%"_s, u"%%COMPANY%%"_s,   u"%%MEMO%%"_s,
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
