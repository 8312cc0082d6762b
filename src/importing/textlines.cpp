#include "textlines.h"

#include "storageerror.h"
#include "textdecoding.h"

#include <algorithm>

namespace
{

constexpr qint64 blockSize = qint64{256} * 1024;

} // namespace

TextLines::TextLines(const QString &path)
    : m_file(path)
{
    openToRead(m_file);
    const QByteArray start = m_file.peek(3);
    const bool hasUtf8Mark = start.startsWith("\xef\xbb\xbf");
    if (start.startsWith("\xff\xfe") || start.startsWith("\xfe\xff"))
        m_decoder.emplace(QStringDecoder::Utf16);
    else if (!hasUtf8Mark && !isMostlyUtf8())
        m_decoder.emplace(windows1252Decoder());
    m_file.seek(hasUtf8Mark ? 3 : 0);
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
            m_isDamaged = !QByteArrayView(line.data(), qsizetype(length)).isValidUtf8();
            if (m_isDamaged) {
                m_mended = QString::fromUtf8(line.data(), qsizetype(length)).toStdString();
                line = m_mended;
            }
            m_position += length;
            if (end != m_text.end())
                m_position += *end == '\r' && end + 1 != m_text.end() && end[1] == '\n' ? 2 : 1;
            return true;
        }
        if (length > longestLine)
            cannotRead(m_file.fileName(),
                       QStringLiteral("it has a line of more than %1 MB, so it is not a list.")
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
        cannotRead(m_file.fileName(), m_file.errorString());
    return block;
}

/// Other encodings have hardly a letter beyond ASCII that would be one in UTF-8 as well.
bool TextLines::isMostlyUtf8()
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    qsizetype letters = 0;
    qsizetype damaged = 0;
    QByteArray block;
    do {
        block = readBlock();
        // At the end, what shows a character that is cut off.
        const QString text = utf8(block.isEmpty() ? QByteArray("\n") : block);
        letters += std::count_if(text.begin(), text.end(), [](QChar c) { return c > QChar(0x7f); });
        damaged += text.count(QChar(QChar::ReplacementCharacter));
    } while (!block.isEmpty());
    return !utf8.hasError() || 2 * damaged <= letters;
}
