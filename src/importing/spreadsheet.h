#pragma once

#include "recipientsource.h"

#include <QStringList>

#include <memory>

class RecordTarget;

/// Workbooks, and the program of the desktop that shows them.
class Spreadsheet
{
public:
    virtual ~Spreadsheet() = default;

    /// The recipients of an .xls workbook. Throws StorageError.
    virtual std::unique_ptr<RecipientSource> read(const QString &path) = 0;
    /// A new .xlsx workbook of one sheet that begins with a row of headings. It replaces a file of
    /// the name when it is finished. Throws StorageError.
    virtual std::unique_ptr<RecordTarget> create(const QString &path,
                                                 const QStringList &headings) = 0;
    /// Opens a workbook in the desktop's spreadsheet program. False where there is none.
    virtual bool show(const QString &path) = 0;
};
