#pragma once

#include "recordtarget.h"
#include "spreadsheet.h"

/// Real workbooks: .xls files are read, .xlsx files are written.
class DesktopSpreadsheet final : public Spreadsheet
{
public:
    std::unique_ptr<RecipientSource> read(const QString &path) override;
    std::unique_ptr<RecordTarget> create(const QString &path, const QStringList &headings) override;
    bool show(const QString &path) override;
};

/// The path of a new workbook in the person's documents folder that is named after `name`.
QString newWorkbookPath(const QString &name);
