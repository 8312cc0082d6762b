#pragma once

#include <QByteArray>
#include <QString>

#include <map>
#include <optional>
#include <utility>
#include <vector>

/// What the cell reader does not tell of an .xls workbook, from its records: which sheet it opens
/// on, what its formulas had come to when it was saved, and how its dates and times are shown.
class WorkbookRecords
{
    class Bytes;
    class Records;

public:
    /// What a format makes of a number.
    struct Format {
        enum class Shows { Number, Date, DateTime, Time } shows = Shows::Number;
        QString text; ///< as the workbook has it; empty for the locale's short form
    };
    struct Result {
        std::optional<double> number; ///< otherwise a text
        QString text;
        Format format;
    };
    /// By row and column, from 0.
    using Results = std::map<std::pair<unsigned, unsigned>, Result>;

    /// A file that cannot be understood has no sheets.
    explicit WorkbookRecords(const QString &path);

    bool isEncrypted() const { return m_isEncrypted; }
    /// The sheet that the workbook opens on, from 0; where that holds a chart, the first one with
    /// cells. Nothing where no sheet has cells.
    std::optional<unsigned> sheet() const;
    /// The formulas' results in the first `columns` columns of a sheet, and its dates and times.
    Results results(unsigned sheet, unsigned columns) const;

private:
    struct Sheet {
        unsigned offset = 0;
        bool hasCells = true;
    };

    void readGlobals();
    QString text(const Bytes &bytes, qsizetype at, qsizetype length) const;
    Format format(unsigned cellFormat) const;

    QByteArray m_stream;
    std::vector<Sheet> m_sheets;
    std::vector<unsigned> m_cellFormats;  // the number format of each
    std::map<unsigned, Format> m_formats; // those that the workbook defines
    unsigned m_opensOn = 0;
    bool m_isEncrypted = false;
    bool m_hasTextFlags = false; // a byte before each text that tells its width
};
