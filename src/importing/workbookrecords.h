#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <optional>
#include <vector>

/// An .xls workbook, read from its records. Formulas are what they had come to when it was saved.
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
    struct Cell {
        unsigned row = 0; ///< from 0
        unsigned column = 0;
        std::optional<double> number; ///< otherwise a text
        QString text;
        Format format;
    };

    explicit WorkbookRecords(const QString &path);

    bool isEncrypted() const { return m_isEncrypted; }
    /// Whether the file holds a workbook whose beginning can be read.
    bool isReadable() const { return m_isReadable; }
    /// Whether the days of dates are counted from 1904 on.
    bool isFrom1904() const { return m_isFrom1904; }
    /// The sheet that the workbook opens on, from 0; where that holds a chart, the first one with
    /// cells. Nothing where no sheet has cells.
    std::optional<unsigned> sheet() const;
    /// Hands out the cells of a sheet, the last value of each last. False where the sheet cannot be
    /// read to its end.
    bool read(unsigned sheet, const std::function<void(const Cell &cell)> &found) const;

private:
    struct Sheet {
        unsigned offset = 0;
        bool hasCells = true;
    };

    void readGlobals();
    void readTexts(const Bytes &bytes);
    QString text(const Bytes &bytes, qsizetype at, qsizetype length) const;
    QString takeText(const Bytes &bytes, qsizetype &at, qsizetype length) const;
    Format format(unsigned cellFormat) const;

    QByteArray m_stream;
    std::vector<Sheet> m_sheets;
    std::vector<QString> m_texts;         // that cells name by their number
    std::vector<unsigned> m_cellFormats;  // the number format of each
    std::map<unsigned, Format> m_formats; // those that the workbook defines
    QByteArray m_codePage;                // of texts without a width
    unsigned m_opensOn = 0;
    bool m_isReadable = false;
    bool m_isEncrypted = false;
    bool m_isFrom1904 = false;
    bool m_hasTextFlags = false; // a byte before each text that tells its width
};
