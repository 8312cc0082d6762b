#include "dateformat.h"

#include <QLocale>
#include <QRegularExpression>

namespace
{

QString digits(int number, qsizetype width)
{
    return QStringLiteral("%1").arg(number, int(width), 10, QLatin1Char('0'));
}

/// A run of one letter. An "m" is of the minutes beside hours or seconds, otherwise of the month.
std::optional<QString> part(QChar letter, qsizetype length, const QDateTime &moment, bool isMinute,
                            bool isHalfDay, const QLocale &locale)
{
    const QDate date = moment.date();
    const QTime time = moment.time();
    const auto form = length == 3 ? QLocale::ShortFormat : QLocale::LongFormat;
    switch (letter.unicode()) {
    case u'y':
        return length > 2 ? digits(date.year(), 4) : digits(date.year() % 100, 2);
    case u'd':
        return length > 2 ? locale.dayName(date.dayOfWeek(), form) : digits(date.day(), length);
    case u'h':
        return digits(isHalfDay ? (time.hour() + 11) % 12 + 1 : time.hour(), length);
    case u's':
        return digits(time.second(), length);
    case u'm':
        if (isMinute)
            return digits(time.minute(), length);
        if (length <= 2)
            return digits(date.month(), length);
        return length == 5 ? locale.monthName(date.month(), QLocale::LongFormat).left(1)
                           : locale.monthName(date.month(), form);
    default:
        return {};
    }
}

} // namespace

std::optional<QString> shownAs(const QString &format, const QDateTime &moment)
{
    // A literal in quotes, after a backslash or by itself; a language; morning or afternoon; a run
    // of one letter. What stands behind a semicolon is for other numbers.
    static const QRegularExpression token(
        QStringLiteral("\\G(?:\"(?<quoted>[^\"]*)\"|\\\\(?<escaped>.)|(?<plain>[-/:., ()+])"
                       "|\\[\\$-(?<language>[0-9a-e][0-9a-f]*)\\]|(?<half>am/pm|a/p)"
                       "|(?<part>(?<letter>[ymdhs])\\g{letter}*))"),
        QRegularExpression::CaseInsensitiveOption);
    const QString first = format.section(QLatin1Char(';'), 0, 0);
    const bool isHalfDay = QRegularExpression(QStringLiteral("am/pm|a/p"), token.patternOptions())
                               .match(first)
                               .hasMatch();
    const int half12 = moment.time().hour() / 12;
    QLocale locale;
    QString text;
    QChar before; // the letter of the part before
    for (qsizetype at = 0; at < first.size();) {
        const auto match = token.match(first, at);
        if (!match.hasMatch())
            return {};
        at = match.capturedEnd();
        text += match.captured(QStringLiteral("quoted")) +
                match.captured(QStringLiteral("escaped")) + match.captured(QStringLiteral("plain"));
        if (const QString half = match.captured(QStringLiteral("half")); !half.isEmpty())
            text += half.section(QLatin1Char('/'), half12, half12);
        constexpr unsigned primary = 0x3ff; // the bits that name the language without its country
        constexpr unsigned english = 0x09;
        if ((match.captured(QStringLiteral("language")).toUInt(nullptr, 16) & primary) == english)
            locale = QLocale::c();
        const QString run = match.captured(QStringLiteral("part")).toLower();
        if (run.isEmpty())
            continue;
        static const QRegularExpression seconds(QStringLiteral("^[^ymdh]*s"),
                                                token.patternOptions());
        const bool isMinute = run.size() <= 2 && (before == QLatin1Char('h') ||
                                                  seconds.match(first.mid(at)).hasMatch());
        const auto shown = part(run[0], run.size(), moment, isMinute, isHalfDay, locale);
        if (!shown)
            return {};
        text += *shown;
        before = run[0];
    }
    return text;
}
