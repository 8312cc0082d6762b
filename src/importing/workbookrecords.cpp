#include "workbookrecords.h"

#include <QFile>

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>

#include <algorithm>
#include <array>
#include <bit>
#include <memory>

namespace
{

using Shows = WorkbookRecords::Format::Shows;

enum RecordId : unsigned {
    FormulaRecord = 0x0006,
    EndRecord = 0x000a,
    EncryptionRecord = 0x002f,
    ContinueRecord = 0x003c,
    WindowRecord = 0x003d,
    SheetRecord = 0x0085,
    ShortNumbersRecord = 0x00bd,
    CellFormatRecord = 0x00e0,
    NumberRecord = 0x0203,
    TextRecord = 0x0207,
    ShortNumberRecord = 0x027e,
    FormatRecord = 0x041e,
    BeginRecord = 0x0809,
};

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Object = std::unique_ptr<T, Unref>;

/// Keeps the library's remarks about damaged files to itself while it lives; that a file is damaged
/// is told in the window.
class QuietLibrary
{
public:
    QuietLibrary()
    {
        for (size_t i = 0; i < domains.size(); ++i)
            m_handlers[i] = g_log_set_handler(
                domains[i], G_LOG_LEVEL_MASK,
                [](const char *, GLogLevelFlags, const char *, void *) {}, nullptr);
    }
    ~QuietLibrary()
    {
        for (size_t i = 0; i < domains.size(); ++i)
            g_log_remove_handler(domains[i], m_handlers[i]);
    }
    Q_DISABLE_COPY(QuietLibrary)

private:
    /// One of its parts does not name itself.
    static constexpr std::array<const char *, 2> domains{"libgsf:msole", nullptr};
    std::array<unsigned, 2> m_handlers{};
};

QByteArray workbookStream(const QString &path)
{
    const QuietLibrary quiet;
    const Object<GsfInput> file(gsf_input_stdio_new(QFile::encodeName(path).constData(), nullptr));
    if (!file)
        return {};
    const Object<GsfInfile> compound(gsf_infile_msole_new(file.get(), nullptr));
    if (!compound)
        return {};
    Object<GsfInput> workbook(gsf_infile_child_by_name(compound.get(), "Workbook"));
    if (!workbook)
        workbook.reset(gsf_infile_child_by_name(compound.get(), "Book"));
    if (!workbook)
        return {};
    QByteArray stream(qsizetype(gsf_input_size(workbook.get())), Qt::Uninitialized);
    if (!gsf_input_read(workbook.get(), size_t(stream.size()),
                        reinterpret_cast<guint8 *>(stream.data())))
        return {};
    return stream;
}

/// Only letters that stand for a part of a date or time count, not
/// those in quotes, in brackets or after a backslash.
WorkbookRecords::Format classified(const QString &format)
{
    bool hasDate = false;
    bool hasMonthOrMinute = false;
    bool hasTime = false;
    QChar closing;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i].toLower();
        if (!closing.isNull()) {
            if (c == closing)
                closing = QChar();
        } else if (c == QLatin1Char('"')) {
            closing = c;
        } else if (c == QLatin1Char('[')) {
            closing = QLatin1Char(']');
        } else if (c == QLatin1Char('\\')) {
            ++i;
        } else {
            hasDate = hasDate || c == QLatin1Char('y') || c == QLatin1Char('d');
            hasMonthOrMinute = hasMonthOrMinute || c == QLatin1Char('m');
            hasTime = hasTime || c == QLatin1Char('h') || c == QLatin1Char('s');
        }
    }
    if (hasTime)
        return {hasDate ? Shows::DateTime : Shows::Time, format};
    return {hasDate || hasMonthOrMinute ? Shows::Date : Shows::Number, format};
}

} // namespace

/// A part of the stream, in the byte order of the format; what lies behind its end reads as 0.
class WorkbookRecords::Bytes
{
public:
    explicit Bytes(QByteArrayView bytes)
        : m_bytes(bytes)
    {
    }

    qsizetype size() const { return m_bytes.size(); }
    unsigned u8(qsizetype at) const
    {
        return at < size() ? static_cast<unsigned char>(m_bytes[at]) : 0;
    }
    unsigned u16(qsizetype at) const { return u8(at) | u8(at + 1) << 8; }
    unsigned u32(qsizetype at) const { return u16(at) | u16(at + 2) << 16; }
    double number(qsizetype at) const
    {
        return std::bit_cast<double>(quint64(u32(at)) | quint64(u32(at + 4)) << 32);
    }
    /// A number of four bytes: a whole one, or the upper half of a double, both maybe times 100.
    double shortNumber(qsizetype at) const
    {
        const unsigned bits = u32(at);
        const double value =
            bits & 2 ? int(bits) >> 2 : std::bit_cast<double>(quint64(bits & ~3u) << 32);
        return bits & 1 ? value / 100 : value;
    }
    /// Up to `length` characters of one byte or two.
    QString text(qsizetype at, qsizetype length, bool isWide) const
    {
        QString text;
        for (; at < size() && text.size() < length; at += isWide ? 2 : 1)
            text += QChar(char16_t(isWide ? u16(at) : u8(at)));
        return text;
    }

private:
    QByteArrayView m_bytes;
};

/// The records of a stream, one after the other.
class WorkbookRecords::Records
{
public:
    Records(const QByteArray &stream, qsizetype offset)
        : m_stream(stream)
        , m_next(offset)
    {
    }

    /// False at the end of the stream, and where it is cut off.
    bool next()
    {
        const Bytes stream{m_stream};
        if (m_next + 4 > stream.size() || m_next + 4 + stream.u16(m_next + 2) > stream.size())
            return false;
        m_id = stream.u16(m_next);
        m_length = stream.u16(m_next + 2);
        m_next += 4 + m_length;
        return true;
    }
    unsigned id() const { return m_id; }
    Bytes bytes() const
    {
        return Bytes(QByteArrayView(m_stream).sliced(m_next - m_length, m_length));
    }

private:
    const QByteArray &m_stream;
    qsizetype m_next;
    qsizetype m_length = 0;
    unsigned m_id = 0;
};

WorkbookRecords::WorkbookRecords(const QString &path)
    : m_stream(workbookStream(path))
{
    readGlobals();
}

std::optional<unsigned> WorkbookRecords::sheet() const
{
    if (m_opensOn < m_sheets.size() && m_sheets[m_opensOn].hasCells)
        return m_opensOn;
    const auto first = std::find_if(m_sheets.begin(), m_sheets.end(),
                                    [](const Sheet &sheet) { return sheet.hasCells; });
    if (first == m_sheets.end())
        return {};
    return unsigned(first - m_sheets.begin());
}

WorkbookRecords::Results WorkbookRecords::results(unsigned sheet, unsigned columns) const
{
    Results results;
    if (sheet >= m_sheets.size())
        return results;
    Records records(m_stream, m_sheets[sheet].offset);
    const auto addDate = [&](unsigned row, unsigned column, unsigned cellFormat, double number) {
        if (Format format = this->format(cellFormat);
            column < columns && format.shows != Shows::Number)
            results[{row, column}] = {number, {}, std::move(format)};
    };
    Result *text = nullptr; // the formula whose text is about to come
    qsizetype length = 0;
    int depth = 0; // a chart inside the sheet is a stream in the stream
    while (records.next()) {
        const Bytes bytes = records.bytes();
        if (records.id() == BeginRecord) {
            ++depth;
        } else if (records.id() == EndRecord) {
            if (--depth <= 0)
                break;
        } else if (depth > 1) {
            continue;
        } else if (records.id() == NumberRecord) {
            addDate(bytes.u16(0), bytes.u16(2), bytes.u16(4), bytes.number(6));
        } else if (records.id() == ShortNumberRecord) {
            addDate(bytes.u16(0), bytes.u16(2), bytes.u16(4), bytes.shortNumber(6));
        } else if (records.id() == ShortNumbersRecord) {
            // Of neighbours: the row, the first column, then a format and a number for each.
            unsigned column = bytes.u16(2);
            for (qsizetype at = 4; at + 6 <= bytes.size(); at += 6)
                addDate(bytes.u16(0), column++, bytes.u16(at), bytes.shortNumber(at + 2));
        } else if (records.id() == FormulaRecord) {
            text = nullptr;
            if (bytes.u16(2) >= columns)
                continue;
            Result result;
            if (bytes.u16(12) != 0xffff) {
                result.number = bytes.number(6);
                result.format = format(bytes.u16(4));
            } else if (bytes.u8(6) == 1) { // a truth value
                result.number = bytes.u8(8);
            }
            text = &(results[{bytes.u16(0), bytes.u16(2)}] = result);
        } else if (records.id() == TextRecord && text) {
            length = bytes.u16(0);
            text->text = this->text(bytes, 2, length);
        } else if (records.id() == ContinueRecord && text) {
            text->text += this->text(bytes, 0, length - text->text.size());
        }
    }
    return results;
}

void WorkbookRecords::readGlobals()
{
    Records records(m_stream, 0);
    while (records.next() && records.id() != EndRecord) {
        const Bytes bytes = records.bytes();
        switch (records.id()) {
        case BeginRecord:
            m_hasTextFlags = bytes.u16(0) >= 0x0600;
            break;
        case EncryptionRecord:
            m_isEncrypted = true;
            break;
        case WindowRecord:
            m_opensOn = bytes.u16(10);
            break;
        case SheetRecord:
            m_sheets.push_back({bytes.u32(0), bytes.u8(5) == 0});
            break;
        case CellFormatRecord:
            m_cellFormats.push_back(bytes.u16(2));
            break;
        case FormatRecord:
            // A format's length takes a byte more where texts have flags.
            m_formats[bytes.u16(0)] = classified(m_hasTextFlags ? text(bytes, 4, bytes.u16(2))
                                                                : text(bytes, 3, bytes.u8(2)));
            break;
        default:
            break;
        }
    }
}

QString WorkbookRecords::text(const Bytes &bytes, qsizetype at, qsizetype length) const
{
    return m_hasTextFlags ? bytes.text(at + 1, length, bytes.u8(at) & 1)
                          : bytes.text(at, length, false);
}

WorkbookRecords::Format WorkbookRecords::format(unsigned cellFormat) const
{
    const unsigned number = cellFormat < m_cellFormats.size() ? m_cellFormats[cellFormat] : 0;
    // Two of the formats that every workbook has follow the locale, the others are what they are.
    if (number == 14)
        return {Shows::Date, {}};
    if (number == 22)
        return {Shows::DateTime, {}};
    if (const auto defined = m_formats.find(number); defined != m_formats.end())
        return defined->second;
    static const std::map<unsigned, const char *> common = {
        {15, "d-mmm-yy"},      {16, "d-mmm"},  {17, "mmm-yy"},  {18, "h:mm AM/PM"},
        {19, "h:mm:ss AM/PM"}, {20, "h:mm"},   {21, "h:mm:ss"}, {45, "mm:ss"},
        {46, "[h]:mm:ss"},     {47, "mm:ss.0"}};
    const auto found = common.find(number);
    return found == common.end() ? Format() : classified(QLatin1String(found->second));
}
