#pragma once

#include <QString>

#include <variant>
#include <vector>

/// Writes workbooks of the binary .xls kind: the sample that comes with the program, and what the
/// tests import. Rows and columns count from 0.
class XlsWorkbook
{
public:
    /// How a number is shown.
    enum Format { General, Date, DateTime, Time, IsoDate };

    /// A value that a formula had when the workbook was last calculated.
    struct Formula {
        std::variant<double, QString> result;
        Format format = General;
    };

    struct Cell {
        unsigned row;
        unsigned column;
        std::variant<QString, double, Formula> value;
        Format format = General;
    };

    /// `cells` in the order of their rows.
    void addSheet(const QString &name, std::vector<Cell> cells);
    /// A sheet of text cells.
    void addSheet(const QString &name, const std::vector<QStringList> &rows);
    /// A sheet that holds a chart and no cells.
    void addChart(const QString &name);

    /// The sheet that is shown when the workbook is opened, in the order of adding.
    void setOpensOn(unsigned sheet) { m_opensOn = sheet; }
    /// Marks the content as encrypted; it is not.
    void setEncrypted(bool encrypted) { m_encrypted = encrypted; }

    /// False when the file cannot be written.
    bool save(const QString &path) const;

private:
    struct Sheet {
        QString name;
        std::vector<Cell> cells;
        bool isChart = false;
    };

    QByteArray globals(const std::vector<unsigned> &offsets) const;

    std::vector<Sheet> m_sheets;
    unsigned m_opensOn = 0;
    bool m_encrypted = false;
};
