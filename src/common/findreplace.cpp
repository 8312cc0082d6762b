#include "findreplace.h"

#include "operator.h"

#include <QRegularExpression>
#include <QStringMatcher>

#include <algorithm>

namespace
{

QString shortened(const QString &text)
{
    QString result = text.first(std::min<qsizetype>(text.size(), SearchTerms::maximumLength));
    // Half of a character that takes two would match half of another one.
    if (!result.isEmpty() && result.back().isHighSurrogate())
        result.chop(1);
    return result;
}

/// Without the blanks around it; other white space is part of a word.
QString trimmedBlanks(const QString &text)
{
    static const QRegularExpression blanks(QStringLiteral("\\A +| +\\z"));
    return QString(text).remove(blanks);
}

QString padded(const QString &text)
{
    return QLatin1Char(' ') + trimmedBlanks(text) + QLatin1Char(' ');
}

bool selectOccurrence(TextTarget &target, const SearchTerms &terms)
{
    const auto found =
        findOccurrence(target.text(), target.selectionStart(), target.selectionLength(), terms);
    if (found)
        target.select(*found, terms.selectedLength());
    return found.has_value();
}

} // namespace

SearchTerms::SearchTerms(const QString &find, const QString &replacement)
    : m_find(shortened(find))
    , m_replacement(shortened(replacement))
{
}

QString SearchTerms::pattern() const
{
    return wholeWord ? padded(m_find) : m_find;
}

QString SearchTerms::patternReplacement() const
{
    return wholeWord ? padded(m_replacement) : m_replacement;
}

qsizetype SearchTerms::selectedLength() const
{
    return wholeWord ? pattern().size() : trimmedBlanks(m_find).size();
}

Qt::CaseSensitivity SearchTerms::caseSensitivity() const
{
    return matchCase ? Qt::CaseSensitive : Qt::CaseInsensitive;
}

std::optional<qsizetype> findOccurrence(const QString &text, qsizetype selectionStart,
                                        qsizetype selectionLength, const SearchTerms &terms)
{
    const QString pattern = terms.pattern();
    if (pattern.isEmpty())
        return {};
    // Counted from 1; both beginnings of the text are the same here.
    const qsizetype start = std::max<qsizetype>(selectionStart, 1);
    qsizetype found = -1;
    if (!terms.up) {
        found = text.indexOf(pattern, start - 1 + selectionLength, terms.caseSensitivity());
    } else {
        found = QStringView(text)
                    .first(std::min(start, text.size()))
                    .lastIndexOf(pattern, terms.caseSensitivity());
    }
    return found < 0 ? std::nullopt : std::optional(found);
}

/// In one pass: QString::replace() moves the rest of the text again and again, which takes many
/// seconds for millions of matches.
QString replaceOccurrences(const QString &text, const SearchTerms &terms)
{
    const QString pattern = terms.pattern();
    if (pattern.isEmpty())
        return text;
    const QString replacement = terms.patternReplacement();
    const QStringMatcher matcher(pattern, terms.caseSensitivity());
    const QStringView source(text);
    QString result;
    qsizetype copied = 0;
    for (qsizetype at; (at = matcher.indexIn(text, copied)) >= 0; copied = at + pattern.size())
        result.append(source.sliced(copied, at - copied)).append(replacement);
    return result.append(source.sliced(copied));
}

void findNext(TextTarget &target, Operator &op, const SearchTerms &terms)
{
    target.takeFocus();
    if (!selectOccurrence(target, terms))
        op.warn(QStringLiteral("Cannot find \"") + terms.find() + QStringLiteral("\"."),
                QStringLiteral("Find"));
}

void replaceAndFindNext(TextTarget &target, Operator &op, SearchTerms terms)
{
    target.takeFocus();
    if (target.selectionLength() > 0)
        target.replaceSelection(terms.replacement());
    terms.up = false;
    if (!selectOccurrence(target, terms))
        op.tell(QStringLiteral("At end of text."), QStringLiteral("Find"));
    target.takeFocus();
}

void replaceAll(TextTarget &target, const SearchTerms &terms)
{
    target.takeFocus();
    target.setText(replaceOccurrences(target.text(), terms));
}
