#include "smtpreply.h"

#include <algorithm>

namespace
{

// More than any honest server says; the rest would only fill the memory.
constexpr qsizetype longestAnswer = qsizetype{16} * 1024;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace

SmtpReply::Step SmtpReply::add(QByteArrayView line)
{
    line = line.trimmed();
    if (line.size() < 3 || !std::all_of(line.begin(), line.begin() + 3, isDigit) || line[0] < '2' ||
        line[0] > '5' || (line.size() > 3 && line[3] != ' ' && line[3] != '-') ||
        m_words.size() + line.size() > longestAnswer)
        return Step::Malformed;
    const bool more = line.size() > 3 && line[3] == '-';
    m_code = (line[0] - '0') * 100 + (line[1] - '0') * 10 + line[2] - '0';
    if (line.size() > 4) {
        m_words.reserve(m_words.size() + line.size());
        m_words += ' ';
        m_words += line.sliced(4).trimmed();
    }
    return more ? Step::More : Step::Complete;
}

void SmtpReply::hide(const QByteArrayList &secrets)
{
    if (secrets.isEmpty())
        return;
    QString words = QString::fromUtf8(m_words);
    for (const QByteArray &secret : secrets)
        words.replace(QString::fromUtf8(secret), QStringLiteral("***"), Qt::CaseInsensitive);
    m_words = words.toUtf8();
}

bool SmtpReply::maybeForEverybody() const
{
    const QByteArray words = m_words.trimmed().toLower();
    // A server that asks to come back later asks each recipient for itself, and often says 4.7.1.
    if (words.contains("greylist") || words.contains("graylist"))
        return false;
    const bool hasClass = words.size() > 4 && words[1] == '.' && words[3] == '.';
    return m_code == 530 || (hasClass && (words[2] == '3' || words[2] == '7')) ||
           words.contains("relay");
}

QString SmtpReply::text() const
{
    QString words = QString::number(m_code) + QString::fromUtf8(m_words);
    std::replace_if(
        words.begin(), words.end(),
        [](QChar c) { return c < u' ' || (c >= u'\x7f' && c < u'\xa0'); }, u' ');
    return words;
}
