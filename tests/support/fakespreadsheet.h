#pragma once

#include "recordtarget.h"
#include "spreadsheet.h"

#include <vector>

/// Workbooks that exist in memory only.
class FakeSpreadsheet final : public Spreadsheet
{
public:
    std::unique_ptr<RecipientSource> read(const QString &) override
    {
        return std::make_unique<Rows>(recipients);
    }
    std::unique_ptr<RecordTarget> create(const QString &path, const QStringList &headings) override
    {
        created += path;
        written = {headings.join(QLatin1Char('|'))};
        return std::make_unique<Writer>(written);
    }
    bool show(const QString &path) override
    {
        shown += path;
        return hasProgram;
    }

    std::vector<RecipientRecord> recipients; ///< what a workbook holds that is read
    bool hasProgram = true;
    QStringList created;
    QStringList written; ///< the rows of the last workbook, cells joined by "|"
    QStringList shown;

private:
    class Rows final : public RecipientSource
    {
    public:
        explicit Rows(std::vector<RecipientRecord> rows)
            : m_rows(std::move(rows))
        {
        }
        bool next() override { return m_read++ < m_rows.size(); }
        qint64 number() const override { return qint64(m_read) + 1; }
        const RecipientRecord &record() const override { return m_rows[m_read - 1]; }
        double progress() const override { return double(m_read) / double(m_rows.size() + 1); }

    private:
        std::vector<RecipientRecord> m_rows;
        size_t m_read = 0;
    };

    class Writer final : public RecordTarget
    {
    public:
        explicit Writer(QStringList &rows)
            : m_rows(rows)
        {
        }
        void write(std::span<const std::string> fields) override
        {
            QStringList cells;
            for (const std::string &field : fields)
                cells += QString::fromStdString(field);
            m_rows += cells.join(QLatin1Char('|'));
        }
        void finish() override {}

    private:
        QStringList &m_rows;
    };
};
