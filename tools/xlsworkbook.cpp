#include "xlsworkbook.h"

#include <QFile>

#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>

#include <algorithm>
#include <bit>

namespace
{

/// The number format of each Format; what is not built into the file format is defined from 164 on.
constexpr unsigned formatNumbers[] = {0, 14, 22, 21, 164};
/// Cells name an extended format; the first 15 belong to the styles.
constexpr unsigned firstCellFormat = 15;

/// The payload of a record, in the byte order of the format.
class Bytes
{
public:
    Bytes &u8(unsigned value)
    {
        m_bytes += char(value);
        return *this;
    }
    Bytes &u16(unsigned value) { return u8(value & 0xff).u8(value >> 8 & 0xff); }
    Bytes &u16(std::initializer_list<unsigned> values)
    {
        for (const unsigned value : values)
            u16(value);
        return *this;
    }
    Bytes &u32(unsigned value) { return u16(value & 0xffff).u16(value >> 16); }
    Bytes &number(double value)
    {
        const auto bits = std::bit_cast<quint64>(value);
        return u32(unsigned(bits & 0xffffffff)).u32(unsigned(bits >> 32));
    }
    Bytes &zeros(int count)
    {
        m_bytes += QByteArray(count, '\0');
        return *this;
    }
    /// The characters as UTF-16, after the flag that says so.
    Bytes &text(const QString &text)
    {
        u8(1);
        for (const QChar c : text)
            u16(c.unicode());
        return *this;
    }

    QByteArray record(unsigned id) const
    {
        Bytes header;
        header.u16(id).u16(unsigned(m_bytes.size()));
        return header.m_bytes + m_bytes;
    }

private:
    QByteArray m_bytes;
};

QByteArray beginning(unsigned kind)
{
    return Bytes().u16({0x0600, kind, 0x0dbb, 0x07cc}).u32(0).u32(6).record(0x0809);
}

QByteArray ending()
{
    return Bytes().record(0x000a);
}

QByteArray cellRecords(const XlsWorkbook::Cell &cell)
{
    Bytes bytes;
    bytes.u16({cell.row, cell.column});
    const auto formatOf = [](XlsWorkbook::Format format) { return firstCellFormat + format; };
    if (const auto *text = std::get_if<QString>(&cell.value)) {
        bytes.u16(formatOf(cell.format)).u16(unsigned(text->size())).text(*text);
        return bytes.record(0x0204);
    }
    if (const auto *number = std::get_if<double>(&cell.value))
        return bytes.u16(formatOf(cell.format)).number(*number).record(0x0203);

    const auto &formula = std::get<XlsWorkbook::Formula>(cell.value);
    const auto *number = std::get_if<double>(&formula.result);
    bytes.u16(formatOf(formula.format));
    if (number)
        bytes.number(*number);
    else
        bytes.u32(0).u16({0, 0xffff}); // a text, which follows in a record of its own
    // The formula itself is the sum 1+1 always: nobody calculates the file anew.
    bytes.u16(0).u32(0).u16(7).u8(0x1e).u16(1).u8(0x1e).u16(1).u8(0x03);
    QByteArray records = bytes.record(0x0006);
    if (!number) {
        const auto &text = std::get<QString>(formula.result);
        records += Bytes().u16(unsigned(text.size())).text(text).record(0x0207);
    }
    return records;
}

QByteArray dimensions(unsigned rows, unsigned columns)
{
    return Bytes().u32(0).u32(rows).u16({0, columns, 0}).record(0x0200);
}

QByteArray sheetStream(const std::vector<XlsWorkbook::Cell> &cells, bool isChart, bool isShown)
{
    if (isChart)
        return beginning(0x0020) + dimensions(1, 1) + ending();
    unsigned columns = 0;
    for (const auto &cell : cells)
        columns = std::max(columns, cell.column + 1);
    QByteArray stream =
        beginning(0x0010) + dimensions(cells.empty() ? 0 : cells.back().row + 1, columns);
    for (const auto &cell : cells)
        stream += cellRecords(cell);
    // Grid, headings, zeros and default colours; selected and shown.
    stream +=
        Bytes().u16({0x00b6u | (isShown ? 0x0600u : 0u), 0, 0}).u32(64).zeros(8).record(0x023e);
    return stream + ending();
}

} // namespace

void XlsWorkbook::addSheet(const QString &name, std::vector<Cell> cells)
{
    m_sheets.push_back({name, std::move(cells)});
}

void XlsWorkbook::addSheet(const QString &name, const std::vector<QStringList> &rows)
{
    std::vector<Cell> cells;
    for (unsigned row = 0; row < rows.size(); ++row) {
        for (unsigned column = 0; column < unsigned(rows[row].size()); ++column) {
            if (!rows[row][int(column)].isEmpty())
                cells.push_back({row, column, rows[row][int(column)]});
        }
    }
    addSheet(name, std::move(cells));
}

void XlsWorkbook::addChart(const QString &name)
{
    m_sheets.push_back({name, {}, true});
}

QByteArray XlsWorkbook::globals(const std::vector<unsigned> &offsets) const
{
    QByteArray stream = beginning(0x0005);
    if (m_encrypted)
        stream += Bytes().u16({0, 0x1234, 0x5678}).record(0x002f);
    stream += Bytes().u16(1200).record(0x0042);
    stream += Bytes().u16({0, 0, 0x4000, 0x2000, 0x38, m_opensOn, 0, 1, 600}).record(0x003d);
    const QString font = QStringLiteral("Arial");
    // Font 4 does not exist in the format, so the fifth of them ends what every reader expects.
    for (int i = 0; i < 5; ++i)
        stream += Bytes()
                      .u16({200, 0, 0x7fff, 400})
                      .zeros(6)
                      .u8(unsigned(font.size()))
                      .text(font)
                      .record(0x0031);
    const QString iso = QStringLiteral("yyyy\\-mm\\-dd");
    stream += Bytes().u16(164).u16(unsigned(iso.size())).text(iso).record(0x041e);
    for (unsigned i = 0; i < firstCellFormat; ++i)
        stream += Bytes().u16({0, 0, 0xfff5, 0x0020}).zeros(12).record(0x00e0);
    for (const unsigned number : formatNumbers)
        stream += Bytes().u16({0, number, 0x0001, 0x0020, 4}).zeros(10).record(0x00e0);
    stream += Bytes().u16(0x8000).u8(0).u8(0xff).record(0x0293);
    for (size_t i = 0; i < m_sheets.size(); ++i)
        stream += Bytes()
                      .u32(offsets[i])
                      .u16(m_sheets[i].isChart ? 0x0200 : 0)
                      .u8(unsigned(m_sheets[i].name.size()))
                      .text(m_sheets[i].name)
                      .record(0x0085);
    return stream + ending();
}

bool XlsWorkbook::save(const QString &path) const
{
    std::vector<QByteArray> sheets;
    for (size_t i = 0; i < m_sheets.size(); ++i)
        sheets.push_back(sheetStream(m_sheets[i].cells, m_sheets[i].isChart, i == m_opensOn));
    // Where the sheets begin does not change the length of what comes before them.
    std::vector<unsigned> offsets(sheets.size());
    unsigned offset = unsigned(globals(offsets).size());
    for (size_t i = 0; i < sheets.size(); ++i) {
        offsets[i] = offset;
        offset += unsigned(sheets[i].size());
    }
    QByteArray stream = globals(offsets);
    for (const QByteArray &sheet : sheets)
        stream += sheet;

    gsf_init();
    GsfOutput *file = gsf_output_stdio_new(QFile::encodeName(path).constData(), nullptr);
    if (!file)
        return false;
    GsfOutfile *compound = gsf_outfile_msole_new(file);
    GsfOutput *workbook = gsf_outfile_new_child(compound, "Workbook", FALSE);
    bool ok = gsf_output_write(workbook, size_t(stream.size()),
                               reinterpret_cast<const guint8 *>(stream.constData()));
    ok = gsf_output_close(workbook) && ok;
    ok = gsf_output_close(GSF_OUTPUT(compound)) && ok;
    g_object_unref(workbook);
    g_object_unref(compound);
    g_object_unref(file);
    gsf_shutdown();
    return ok;
}
