#pragma once

#include <QString>

/// A name as a part of a frame's title or another caption, in which "&" marks a key.
inline QString inCaption(const QString &name)
{
    return QString(name).replace(QLatin1Char('&'), QStringLiteral("&&"));
}
