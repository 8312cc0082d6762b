#pragma once

#include <QString>

/// A box lays out a line as a whole, and the source of a web page may be one line of a million
/// characters. For the box such lines are broken into parts, and joined again for everybody else: a
/// part ends with a mark, a character that shows nothing and that texts do not have.
namespace LongLines
{

/// Long lines of the text, whatever ends them, broken.
QString broken(const QString &text);
/// The text of a box, its lines parted by U+2029, without marks and breaks.
QString joined(const QString &boxText);

/// How many breaks the text of a box has.
int breaks(QStringView boxText);

/// Where a place of the box's text is in the joined one, and the other way round. All count from 0.
qsizetype joinedOffset(const QString &boxText, qsizetype offset);
qsizetype boxOffset(const QString &boxText, qsizetype joinedOffset);

} // namespace LongLines
