#pragma once

#include <QString>

/// A tool tip that shows the text as it is: names and server replies may look like markup, which a
/// tip would follow.
inline QString plainToolTip(const QString &text)
{
    if (text.isEmpty())
        return {};
    return QStringLiteral("<span style=\"white-space: pre-wrap\">") + text.toHtmlEscaped() +
           QStringLiteral("</span>");
}
