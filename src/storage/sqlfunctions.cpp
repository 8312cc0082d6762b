#include "sqlfunctions.h"

#include <QDate>
#include <QString>

#include <sqlite3.h>

#include <algorithm>

namespace
{

QString textOf(sqlite3_value *value)
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return QString::fromUtf8(text, sqlite3_value_bytes(value));
}

void setResult(sqlite3_context *context, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    sqlite3_result_text64(context, utf8.constData(), static_cast<sqlite3_uint64>(utf8.size()),
                          SQLITE_TRANSIENT, SQLITE_UTF8);
}

void ucase(sqlite3_context *context, int, sqlite3_value **arguments)
{
    if (sqlite3_value_type(arguments[0]) == SQLITE_NULL)
        sqlite3_result_null(context);
    else
        setResult(context, textOf(arguments[0]).toUpper());
}

void localDate(sqlite3_context *context, int, sqlite3_value **)
{
    setResult(context, QDate::currentDate().toString(Qt::ISODate));
}

/// One element of a like pattern.
struct PatternChar {
    enum Kind { Literal, AnyOne, AnyText };
    Kind kind;
    char32_t value;
};

struct Pattern {
    std::vector<PatternChar> chars;
    /// The text between the two "%" of a plain "contains" pattern, which is nearly every search.
    QString contained;
    bool isContains = false;
};

Pattern parsePattern(const QString &text, char32_t escape)
{
    Pattern pattern;
    const QList<uint> points = text.toCaseFolded().toUcs4();
    for (qsizetype i = 0; i < points.size(); ++i) {
        if (escape != 0 && points[i] == escape && i + 1 < points.size())
            pattern.chars.push_back({PatternChar::Literal, points[++i]});
        else if (points[i] == U'%')
            pattern.chars.push_back({PatternChar::AnyText, 0});
        else if (points[i] == U'_')
            pattern.chars.push_back({PatternChar::AnyOne, 0});
        else
            pattern.chars.push_back({PatternChar::Literal, points[i]});
    }
    const auto isLiteral = [](const PatternChar &c) { return c.kind == PatternChar::Literal; };
    pattern.isContains = pattern.chars.size() >= 2 &&
                         pattern.chars.front().kind == PatternChar::AnyText &&
                         pattern.chars.back().kind == PatternChar::AnyText &&
                         std::all_of(pattern.chars.begin() + 1, pattern.chars.end() - 1, isLiteral);
    if (pattern.isContains) {
        for (auto c = pattern.chars.begin() + 1; c != pattern.chars.end() - 1; ++c)
            pattern.contained += QString::fromUcs4(&c->value, 1);
    }
    return pattern;
}

/// Matches greedily, going back only to the last "%": linear but for pathological patterns.
bool matches(const Pattern &pattern, const QString &subject)
{
    const QString folded = subject.toCaseFolded();
    if (pattern.isContains)
        return folded.contains(pattern.contained);

    const QList<uint> text = folded.toUcs4();
    const auto &chars = pattern.chars;
    size_t p = 0;
    size_t afterAny = std::string::npos;
    qsizetype t = 0;
    qsizetype retry = 0;
    while (t < text.size()) {
        if (p < chars.size() && chars[p].kind == PatternChar::AnyText) {
            afterAny = ++p;
            retry = t;
        } else if (p < chars.size() &&
                   (chars[p].kind == PatternChar::AnyOne || chars[p].value == text[t])) {
            ++p;
            ++t;
        } else if (afterAny != std::string::npos) {
            p = afterAny;
            t = ++retry;
        } else {
            return false;
        }
    }
    while (p < chars.size() && chars[p].kind == PatternChar::AnyText)
        ++p;
    return p == chars.size();
}

void like(sqlite3_context *context, int count, sqlite3_value **arguments)
{
    for (int i = 0; i < count; ++i) {
        if (sqlite3_value_type(arguments[i]) == SQLITE_NULL)
            return; // an unset result is null
    }
    char32_t escape = 0;
    if (count == 3) {
        const QList<uint> points = textOf(arguments[2]).toCaseFolded().toUcs4();
        if (points.size() != 1) {
            sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
            return;
        }
        escape = points[0];
    }
    // The pattern is the same for every row; SQLite keeps the parsed form between the calls.
    auto *pattern = static_cast<Pattern *>(sqlite3_get_auxdata(context, 0));
    if (pattern) {
        sqlite3_result_int(context, matches(*pattern, textOf(arguments[1])));
        return;
    }
    pattern = new Pattern(parsePattern(textOf(arguments[0]), escape));
    sqlite3_result_int(context, matches(*pattern, textOf(arguments[1])));
    sqlite3_set_auxdata(context, 0, pattern, [](void *p) { delete static_cast<Pattern *>(p); });
}

} // namespace

void addSqlFunctions(sqlite3 *database)
{
    constexpr int pure = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    sqlite3_create_function(database, "ucase", 1, pure, nullptr, ucase, nullptr, nullptr);
    sqlite3_create_function(database, "like", 2, pure, nullptr, like, nullptr, nullptr);
    sqlite3_create_function(database, "like", 3, pure, nullptr, like, nullptr, nullptr);
    sqlite3_create_function(database, "date", 0, SQLITE_UTF8, nullptr, localDate, nullptr, nullptr);
}
