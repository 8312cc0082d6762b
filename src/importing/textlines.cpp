#include "textlines.h"

#include "storageerror.h"
#include "textdecoding.h"

#include <QFileInfo>

#include <algorithm>

namespace
{

constexpr qint64 blockSize = 256 * 1024;

/// How many bytes at the end of a block belong to a character that the next block completes.
qsizetype unfinishedBytes(const QByteArray &block)
{
    for (qsizetype i = 1; i <= std::min<qsizetype>(3, block.size()); ++i) {
        const auto byte = static_cast<unsigned char>(block[block.size() - i]);
        if (byte < 0x80)
            break;
        if (byte >= 0xc0) { // begins a character of 2, 3 or 4 bytes
            const qsizetype length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : 2;
            return i < length ? i : 0;
        }
    }
    return 0;
}

} // namespace

TextLines::TextLines(const QString &path)
    : m_file(path)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        fail(QStringLiteral("it is not a file."));
    if (!m_file.open(QIODevice::ReadOnly))
        fail(m_file.errorString());

    const QByteArray start = m_file.peek(3);
    const bool hasUtf8Mark = start.startsWith("\xef\xbb\xbf");
    const qint64 firstByte = hasUtf8Mark ? 3 : 0;
    if (start.startsWith("\xff\xfe") || start.startsWith("\xfe\xff"))
        m_decoder.emplace(QStringDecoder::Utf16);
    else if (m_file.seek(firstByte), !isValidUtf8())
        // A file that says it is UTF-8 is taken at its word; what is not stands out as such.
        m_decoder.emplace(hasUtf8Mark ? QStringDecoder(QStringDecoder::Utf8)
                                      : windows1252Decoder());
    m_file.seek(firstByte);
}

bool TextLines::next(std::string_view &line)
{
    size_t length = 0;
    for (;;) {
        const auto begin = m_text.begin() + std::ptrdiff_t(m_position);
        const auto end = std::find_if(begin + std::ptrdiff_t(length), m_text.end(),
                                      [](char c) { return c == '\n' || c == '\r'; });
        length = size_t(end - begin);
        // After a CR at the end of the block it takes the next one to know what the line ends with.
        const bool isWhole = end != m_text.end() && (*end == '\n' || end + 1 != m_text.end());
        if (isWhole || m_atEnd) {
            if (end == m_text.end() && length == 0)
                return false;
            line = std::string_view(m_text).substr(m_position, length);
            m_position += length;
            if (end != m_text.end())
                m_position += *end == '\r' && end + 1 != m_text.end() && end[1] == '\n' ? 2 : 1;
            return true;
        }
        if (length > longestLine)
            fail(QStringLiteral("it has a line of more than %1 MB, so it is not a list.")
                     .arg(longestLine >> 20));
        m_atEnd = !fill();
    }
}

double TextLines::progress() const
{
    const auto size = double(m_file.size());
    const double left = m_decoder ? 0 : double(m_text.size() - m_position);
    return size > 0 ? (double(m_file.pos()) - left) / size : 1;
}

bool TextLines::fill()
{
    const QByteArray block = readBlock();
    m_text.erase(0, m_position);
    m_position = 0;
    if (!m_decoder)
        m_text.append(block.constData(), size_t(block.size()));
    else
        m_text += QString((*m_decoder)(block)).toStdString();
    return !block.isEmpty();
}

QByteArray TextLines::readBlock()
{
    QByteArray block = m_file.read(blockSize);
    if (m_file.error() != QFileDevice::NoError)
        fail(m_file.errorString());
    return block;
}

bool TextLines::isValidUtf8()
{
    QByteArray text;
    for (;;) {
        const QByteArray block = readBlock();
        if (block.isEmpty())
            return text.isEmpty();
        text += block;
        const qsizetype unfinished = unfinishedBytes(text);
        if (!QByteArrayView(text).chopped(unfinished).isValidUtf8())
            return false;
        text = text.last(unfinished);
    }
}

void TextLines::fail(const QString &reason) const
{
    throw StorageError(0, QStringLiteral("File system"),
                       QStringLiteral("Cannot read %1: %2").arg(m_file.fileName(), reason));
}
