#include "separator.h"

QString separatorText(const QString &entry)
{
    return entry == QLatin1String("TAB") ? QStringLiteral("\t") : entry;
}
