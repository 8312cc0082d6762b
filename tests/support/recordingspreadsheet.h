#pragma once

#include "desktopspreadsheet.h"

#include <functional>

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
        return std::make_unique<Workbook>(m_real.create(path, headings), whileSaving);
    }
    bool show(const QString &path) override
    {
        shown += path;
        return hasProgram;
    }

    QStringList shown;
    bool hasProgram = true;            ///< that shows them
    std::function<void()> whileSaving; ///< before a workbook is packed, on the thread that does it

private:
    struct Workbook final : RecordTarget {
        Workbook(std::unique_ptr<RecordTarget> target, std::function<void()> saving)
            : real(std::move(target))
            , whileSaving(std::move(saving))
        {
        }
        void expect(qint64 records) override { real->expect(records); }
        void write(std::span<const std::string> fields) override { real->write(fields); }
        void finish() override
        {
            if (whileSaving)
                whileSaving();
            real->finish();
        }
        QString remark() const override { return real->remark(); }

        std::unique_ptr<RecordTarget> real;
        std::function<void()> whileSaving;
    };

    DesktopSpreadsheet m_real;
};
