#pragma once

#include "exitstatus.h"

#include "recipientexport.h"

#include <QString>

class ProgramFolder;

ExitStatus listMailLists(const ProgramFolder &folder, bool json);
/// `list` is a number or an exact, unique name; `separator` an entry of the separator box.
ExitStatus importList(const ProgramFolder &folder, const QString &list, const QString &file,
                      const QString &separator);
/// A file named .xlsx becomes a workbook, others text.
ExitStatus exportList(const ProgramFolder &folder, const QString &list, const QString &file,
                      ExportFilter filter);
