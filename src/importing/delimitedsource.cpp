#include "delimitedsource.h"

#include <QString>

namespace
{

/// Without the blanks around it, and without NULs, with which a text would seem to end early.
void assignField(std::string &field, std::string_view part)
{
    const size_t first = part.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        field.clear();
        return;
    }
    field.assign(part.substr(first, part.find_last_not_of(' ') - first + 1));
    if (field.find('\0') != std::string::npos)
        std::erase(field, '\0');
}

} // namespace

QString separatorText(const QString &entry)
{
    return entry == QLatin1String("TAB") ? QStringLiteral("\t") : entry;
}

DelimitedSource::DelimitedSource(const QString &path, const QString &separator)
    : m_lines(path)
    , m_separator(separatorText(separator).toStdString())
{
}

bool DelimitedSource::next()
{
    if (!m_lines.next(m_line))
        return false;
    ++m_number;
    std::string_view rest = m_line;
    bool atEnd = false;
    for (std::string &field : m_record) {
        if (atEnd) {
            field.clear();
            continue;
        }
        const size_t end = m_separator.empty() ? rest.npos : rest.find(m_separator);
        assignField(field, rest.substr(0, end));
        atEnd = end == rest.npos;
        if (!atEnd)
            rest.remove_prefix(end + m_separator.size());
    }
    return true;
}
