#include "workbookrecords.h"

#include "textdecoding.h"

#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-stdio.h>

#include <algorithm>
#include <bit>
#include <memory>
#include <span>

namespace
{

using Shows = WorkbookRecords::Format::Shows;

enum RecordId : unsigned {
    FormulaRecord = 0x0006,
    EndRecord = 0x000a,
    From1904Record = 0x0022,
    EncryptionRecord = 0x002f,
    ContinueRecord = 0x003c,
    WindowRecord = 0x003d,
    CodePageRecord = 0x0042,
    SheetRecord = 0x0085,
    ShortNumbersRecord = 0x00bd,
    StyledTextRecord = 0x00d6,
    CellFormatRecord = 0x00e0,
    TextsRecord = 0x00fc,
    SharedTextRecord = 0x00fd,
    NumberRecord = 0x0203,
    OwnTextRecord = 0x0204,
    TruthRecord = 0x0205,
    FormulaTextRecord = 0x0207,
    ShortNumberRecord = 0x027e,
    FormatRecord = 0x041e,
    BeginRecord = 0x0809,
};

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Object = std::unique_ptr<T, Unref>;

QByteArray workbookStream(const QString &path)
{
    // That a file is damaged is told in the window; the library's remarks about it are not for it.
    const auto remarks = g_log_set_default_handler(
        [](const char *, GLogLevelFlags, const char *, void *) {}, nullptr);
    const auto restore = qScopeGuard([=] { g_log_set_default_handler(remarks, nullptr); });
    const Object<GsfInput> file(gsf_input_stdio_new(QFile::encodeName(path).constData(), nullptr));
    const Object<GsfInfile> compound(file ? gsf_infile_msole_new(file.get(), nullptr) : nullptr);
    if (!compound)
        return {};
    Object<GsfInput> workbook(gsf_infile_child_by_name(compound.get(), "Workbook"));
    if (!workbook)
        workbook.reset(gsf_infile_child_by_name(compound.get(), "Book"));
    if (!workbook || gsf_input_size(workbook.get()) > gsf_input_size(file.get()))
        return {};
    QByteArray stream(qsizetype(gsf_input_size(workbook.get())), Qt::Uninitialized);
    if (!gsf_input_read(workbook.get(), size_t(stream.size()),
                        reinterpret_cast<guint8 *>(stream.data())))
        return {};
    return stream;
}

/// Only letters that stand for a part of a date or time count, not those in quotes, in brackets or
/// after a backslash.
WorkbookRecords::Format classified(const QString &format)
{
    static const QRegularExpression literal(QStringLiteral("\"[^\"]*\"?|\\[[^\\]]*\\]?|\\\\.?"));
    const QString parts = QString(format).remove(literal).toLower();
    const auto has = [&parts](const char *letters) {
        return std::any_of(parts.begin(), parts.end(),
                           [=](QChar c) { return QLatin1String(letters).contains(c); });
    };
    if (has("hs"))
        return {has("yd") ? Shows::DateTime : Shows::Time, format};
    return {has("ydm") ? Shows::Date : Shows::Number, format};
}

} // namespace

/// A part of the stream, in the byte order of the format; what lies behind its end reads as 0.
class WorkbookRecords::Bytes
{
public:
    explicit Bytes(QByteArrayView bytes, std::span<const qsizetype> seams = {})
        : m_bytes(bytes)
        , m_seams(seams)
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
    QByteArrayView part(qsizetype at, qsizetype length) const
    {
        const qsizetype start = std::min(at, size());
        return m_bytes.sliced(start, std::min(length, size() - start));
    }
    /// Whether the part of another record begins there.
    bool isSeam(qsizetype at) const
    {
        return std::binary_search(m_seams.begin(), m_seams.end(), at);
    }

private:
    QByteArrayView m_bytes;
    std::span<const qsizetype> m_seams;
};

/// The records of a stream, one after the other, each with what continues it.
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
        m_seams.clear();
        if (!take())
            return false;
        m_id = m_taken;
        m_bytes = m_part;
        while (Bytes(m_stream).u16(m_next) == ContinueRecord && take()) {
            if (m_seams.empty())
                m_joined = m_bytes.toByteArray();
            m_seams.push_back(m_joined.size());
            m_bytes = m_joined.append(m_part);
        }
        return true;
    }
    unsigned id() const { return m_id; }
    Bytes bytes() const { return Bytes(m_bytes, m_seams); }

private:
    bool take()
    {
        const Bytes stream(m_stream);
        const qsizetype length = stream.u16(m_next + 2);
        if (m_next + 4 + length > stream.size())
            return false;
        m_taken = stream.u16(m_next);
        m_part = QByteArrayView(m_stream).sliced(m_next + 4, length);
        m_next += 4 + length;
        return true;
    }

    const QByteArray &m_stream;
    qsizetype m_next;
    unsigned m_taken = 0;
    unsigned m_id = 0;
    QByteArrayView m_part;
    QByteArrayView m_bytes;
    QByteArray m_joined;
    std::vector<qsizetype> m_seams;
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

bool WorkbookRecords::read(unsigned sheet, const std::function<void(const Cell &cell)> &found) const
{
    Records records(m_stream, m_sheets[sheet].offset);
    Cell formula;
    int depth = 0; // a chart inside the sheet is a stream in the stream
    while (records.next()) {
        const Bytes bytes = records.bytes();
        if (records.id() == BeginRecord)
            ++depth;
        else if (depth == 0)
            return false;
        else if (records.id() == EndRecord && --depth == 0)
            return true;
        if (depth > 1)
            continue;
        Cell cell{bytes.u16(0), bytes.u16(2), {}, {}, {}};
        const auto truth = [](bool value) { return QString::fromLatin1(value ? "TRUE" : "FALSE"); };
        switch (records.id()) {
        case ShortNumbersRecord:
            // Of neighbours: the row, the first column, then a format and a number for each.
            for (qsizetype at = 4; at + 6 <= bytes.size(); at += 6) {
                cell.number = bytes.shortNumber(at + 2);
                cell.format = format(bytes.u16(at));
                found(cell);
                ++cell.column;
            }
            continue;
        case NumberRecord:
            cell.number = bytes.number(6);
            break;
        case ShortNumberRecord:
            cell.number = bytes.shortNumber(6);
            break;
        case FormulaRecord:
            if (bytes.u16(12) != 0xffff)
                cell.number = bytes.number(6);
            else if (bytes.u8(6) == 1)
                cell.text = truth(bytes.u8(8));
            formula = cell;
            break;
        case FormulaTextRecord: // what the formula before it came to
            cell = formula;
            cell.text = text(bytes, 2, bytes.u16(0));
            break;
        case TruthRecord: // or an error, which shows as nothing
            cell.text = bytes.u8(7) == 0 ? truth(bytes.u8(6)) : QString();
            break;
        case SharedTextRecord:
            if (const unsigned number = bytes.u32(6); number < m_texts.size())
                cell.text = m_texts[number];
            break;
        case OwnTextRecord:
        case StyledTextRecord:
            cell.text = text(bytes, 8, bytes.u16(6));
            break;
        default:
            continue;
        }
        if (cell.number)
            cell.format = format(bytes.u16(4));
        found(cell);
    }
    return false;
}

void WorkbookRecords::readGlobals()
{
    Records records(m_stream, 0);
    while (records.next() && !m_isReadable) {
        const Bytes bytes = records.bytes();
        switch (records.id()) {
        case BeginRecord:
            m_hasTextFlags = bytes.u16(0) >= 0x0600;
            break;
        case EndRecord:
            m_isReadable = true;
            break;
        case From1904Record:
            m_isFrom1904 = bytes.u16(0);
            break;
        case EncryptionRecord:
            m_isEncrypted = true;
            break;
        case WindowRecord:
            m_opensOn = bytes.u16(10);
            break;
        case CodePageRecord:
            m_codePage = "cp" + QByteArray::number(bytes.u16(0));
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
        case TextsRecord:
            readTexts(bytes);
            break;
        default:
            break;
        }
    }
}

void WorkbookRecords::readTexts(const Bytes &bytes)
{
    for (qsizetype at = 8; at < bytes.size();) {
        at += 2;
        m_texts.push_back(takeText(bytes, at, bytes.u16(at - 2)));
    }
}

QString WorkbookRecords::text(const Bytes &bytes, qsizetype at, qsizetype length) const
{
    return takeText(bytes, at, length);
}

/// Of up to `length` characters; `at` is then behind it.
QString WorkbookRecords::takeText(const Bytes &bytes, qsizetype &at, qsizetype length) const
{
    if (!m_hasTextFlags) {
        QStringDecoder decoder(m_codePage.constData());
        return decoder.isValid() ? decoder(bytes.part(at, length))
                                 : windows1252Decoder()(bytes.part(at, length));
    }
    unsigned flags = bytes.u8(at++);
    // Behind the characters: what is styled, and what is said of their pronunciation.
    qsizetype behind = 0;
    if (flags & 8) {
        behind += 4 * qsizetype(bytes.u16(at));
        at += 2;
    }
    if (flags & 4) {
        behind += bytes.u32(at);
        at += 4;
    }
    QString text;
    for (; at < bytes.size() && text.size() < length; at += flags & 1 ? 2 : 1) {
        if (bytes.isSeam(at)) // the width may change there
            flags = bytes.u8(at++);
        text += QChar(char16_t(flags & 1 ? bytes.u16(at) : bytes.u8(at)));
    }
    at += behind;
    return text;
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
