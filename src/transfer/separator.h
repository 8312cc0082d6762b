#pragma once

#include <QString>

/// The text that parts fields, of an entry of the separator boxes: "TAB" or the text itself.
QString separatorText(const QString &entry);
