#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

/// A moment as a number format of a workbook shows it, such as "yyyy-mm-dd hh:mm" or
/// "[$-409]d-mmm-yy". Nothing where the format has parts other than those of dates and times, or
/// leaves the form to the system.
std::optional<QString> shownAs(const QString &format, const QDateTime &moment);
