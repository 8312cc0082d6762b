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

/// The value for the engine's own comparison, which ignores the case of the letters from A to Z:
/// with anything beyond ASCII, the case of all letters is folded. It ends at a NUL, so that goes.
QByteArray folded(sqlite3_value *value)
{
    const auto *text = reinterpret_cast<const char *>(sqlite3_value_text(value));
    const int size = sqlite3_value_bytes(value);
    const bool isPlain =
        std::all_of(text, text + size, [](char c) { return c != 0 && !(c & 0x80); });
    return isPlain ? QByteArray::fromRawData(text, size)
                   : textOf(value).remove(QChar::Null).toCaseFolded().toUtf8();
}

void like(sqlite3_context *context, int, sqlite3_value **arguments)
{
    if (sqlite3_value_type(arguments[0]) == SQLITE_NULL ||
        sqlite3_value_type(arguments[1]) == SQLITE_NULL)
        return; // an unset result is null
    const bool isAlike = sqlite3_strlike(folded(arguments[0]), folded(arguments[1]), 0) == 0;
    sqlite3_result_int(context, isAlike);
}

} // namespace

void addSqlFunctions(sqlite3 *database)
{
    constexpr int pure = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    sqlite3_create_function(database, "ucase", 1, pure, nullptr, ucase, nullptr, nullptr);
    sqlite3_create_function(database, "like", 2, pure, nullptr, like, nullptr, nullptr);
    sqlite3_create_function(database, "date", 0, SQLITE_UTF8, nullptr, localDate, nullptr, nullptr);
}
