#include "sqltext.h"

QString quoted(const QString &value)
{
    constexpr QLatin1Char apostrophe('\'');
    QString result;
    result.reserve(value.size() + 2);
    result += apostrophe;
    for (const QChar c : value) {
        if (c == apostrophe)
            result += apostrophe;
        if (!c.isNull())
            result += c;
    }
    result += apostrophe;
    return result;
}
