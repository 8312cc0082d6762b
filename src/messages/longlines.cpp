#include "longlines.h"

#include <algorithm>

namespace
{

/// Laid out within a few milliseconds.
constexpr qsizetype longest = 2048;
/// How far back a better place for a break is looked for.
constexpr qsizetype lookBack = 256;

/// Deprecated by Unicode, and ignored by default where it is shown.
constexpr QChar mark(0x206F);
constexpr QChar lineEnd(QChar::ParagraphSeparator);

bool endsLine(QChar c)
{
    return c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == lineEnd;
}

bool isMiddle(QChar c)
{
    return c.isLowSurrogate() || c.isMark() || c == QChar(0x200D);
}

/// Where to break a line that goes on from `start` to `end`: behind a tag or a blank, or else
/// between two characters.
qsizetype breakIn(QStringView text, qsizetype start, qsizetype end)
{
    for (qsizetype at = end; at > end - lookBack; --at) {
        if (text[at - 1] == QLatin1Char('>') || text[at - 1] == QLatin1Char(' '))
            return at;
    }
    qsizetype at = end;
    while (at > start + 1 && isMiddle(text[at]))
        --at;
    return at > start + 1 ? at : end;
}

/// How many characters at `at` belong to a break.
qsizetype breakAt(QStringView boxText, qsizetype at)
{
    if (boxText[at] != mark)
        return 0;
    return at + 1 < boxText.size() && boxText[at + 1] == lineEnd ? 2 : 1;
}

} // namespace

QString LongLines::broken(const QString &text)
{
    if (text.size() <= longest || text.contains(mark))
        return text;
    const QStringView source(text);
    QString result;
    qsizetype copied = 0;
    for (qsizetype at = 0, start = 0; at < source.size(); ++at) {
        if (endsLine(source[at])) {
            start = at + 1;
        } else if (at - start == longest) {
            start = breakIn(source, start, at);
            result.append(source.sliced(copied, start - copied)).append(mark).append(lineEnd);
            copied = start;
        }
    }
    return copied == 0 ? text : result.append(source.sliced(copied));
}

QString LongLines::joined(const QString &boxText)
{
    if (!boxText.contains(mark))
        return boxText;
    return QString(boxText).remove(QString(mark) + lineEnd).remove(mark);
}

int LongLines::breaks(QStringView boxText)
{
    int count = 0;
    for (qsizetype at = 0; (at = boxText.indexOf(mark, at)) >= 0; ++at)
        count += breakAt(boxText, at) == 2;
    return count;
}

qsizetype LongLines::joinedOffset(const QString &boxText, qsizetype offset)
{
    return joined(boxText.first(offset)).size();
}

qsizetype LongLines::boxOffset(const QString &boxText, qsizetype joinedOffset)
{
    if (!boxText.contains(mark))
        return joinedOffset;
    qsizetype at = 0;
    for (qsizetype left = joinedOffset; at < boxText.size(); ++at) {
        if (const qsizetype length = breakAt(boxText, at))
            at += length - 1;
        else if (left-- == 0)
            break;
    }
    return std::min(at, boxText.size());
}
