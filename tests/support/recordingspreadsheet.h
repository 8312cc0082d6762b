#pragma once

#include "desktopspreadsheet.h"

/// Reads and writes real workbooks, and notes those that a person would see.
class RecordingSpreadsheet final : public Spreadsheet
{
public:
    std::unique_ptr<RecipientSource> read(const QString &path) override
    {
        return m_real.read(path);
    }
    std::unique_ptr<RecordTarget> create(const QString &path, const QStringList &headings) override
    {
        return m_real.create(path, headings);
    }
    bool show(const QString &path) override
    {
        shown += path;
        return hasProgram;
    }

    QStringList shown;
    bool hasProgram = true; ///< that shows them

private:
    DesktopSpreadsheet m_real;
};
