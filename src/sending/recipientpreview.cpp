#include "recipientpreview.h"

#include <QLocale>

using namespace Qt::StringLiterals;

void RecipientPreview::load(const QString &listConnectionString, const QString &body)
{
    m_message = MergeFields(body);
    m_rows.reset();
    m_position = 0;
    m_fields = {};
    if (listConnectionString.isEmpty())
        return;
    m_rows.emplace(listConnectionString, u"email"_s,
                   u"company,contact,email,fname,lname,memo,mid,remark,status,title"_s);
    if (count() == 0)
        return;
    try {
        moveTo(1);
    } catch (const StorageError &) {
        m_rows.reset();
        throw;
    }
}

void RecipientPreview::first()
{
    moveTo(1);
}

void RecipientPreview::last()
{
    moveTo(count());
}

bool RecipientPreview::next()
{
    const bool atEnd = m_position == count();
    if (count() > 0)
        moveTo(atEnd ? count() : m_position + 1);
    return !atEnd || count() == 0;
}

bool RecipientPreview::previous()
{
    const bool atStart = m_position == 1;
    if (count() > 0)
        moveTo(atStart ? 1 : m_position - 1);
    return !atStart;
}

QString RecipientPreview::body(const QDateTime &now) const
{
    const QLocale locale = QLocale::system();
    std::array<QString, 8> values = {locale.toString(now.date(), QLocale::ShortFormat) + u' ' +
                                     locale.toString(now.time(), QLocale::ShortFormat)};
    std::copy(m_fields.begin(), m_fields.end(), values.begin() + 1);
    return m_message.personalise(values);
}

void RecipientPreview::moveTo(qsizetype position)
{
    if (count() == 0)
        throw StorageError(0, u"Quillbright"_s, u"The list has no recipients."_s);
    static const std::array<QString, 7> columns = {
        u"email"_s, u"fname"_s, u"lname"_s, u"title"_s, u"contact"_s, u"company"_s, u"memo"_s};
    const Record *row = m_rows->row(position - 1);
    for (size_t i = 0; i < columns.size(); ++i)
        m_fields[i] = row ? row->text(columns[i]) : QString();
    m_position = position;
}
