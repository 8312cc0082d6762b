#pragma once

#include <QString>

#include <optional>

class Operator;

/// A text with a selection, as find and replace see it. Positions count from 0, in the characters
/// of text().
class TextTarget
{
public:
    virtual ~TextTarget() = default;
    virtual QString text() const = 0;
    /// Replaces all of it; the caret is then at the beginning.
    virtual void setText(const QString &text) = 0;
    virtual qsizetype selectionStart() const = 0;
    virtual qsizetype selectionLength() const = 0;
    virtual void select(qsizetype start, qsizetype length) = 0;
    /// Replaces what is selected; the caret is then behind `text`.
    virtual void replaceSelection(const QString &text) = 0;
    /// Within its window, which is not brought to the front for it: who presses Return again in the
    /// dialog wants the next occurrence, and not a line break in place of this one.
    virtual void takeFocus() = 0;
};

/// What a person looks for.
class SearchTerms
{
public:
    /// A find text and a replacement hold at most this many characters; more are not looked at.
    static constexpr int maximumLength = 49;

    SearchTerms(const QString &find, const QString &replacement);

    bool wholeWord = false; ///< the find text is a word with a blank on either side
    bool matchCase = false;
    bool up = false; ///< of find next: towards the beginning

    const QString &find() const { return m_find; }
    const QString &replacement() const { return m_replacement; }

    /// What is searched for.
    QString pattern() const;
    /// What replaces a pattern when all are replaced.
    QString patternReplacement() const;
    /// How much of an occurrence is selected: blanks around the find text are not, those of a whole
    /// word are.
    qsizetype selectedLength() const;
    Qt::CaseSensitivity caseSensitivity() const;

private:
    QString m_find;
    QString m_replacement;
};

/// Where the next occurrence begins, seen from a selection; none when there is no other in that
/// direction. A search down begins one character before where the selection ends, or at the end of
/// a selection that begins the text.
std::optional<qsizetype> findOccurrence(const QString &text, qsizetype selectionStart,
                                        qsizetype selectionLength, const SearchTerms &terms);

/// `text` with every occurrence replaced, from the beginning on; what was put in is not searched.
QString replaceOccurrences(const QString &text, const SearchTerms &terms);

// What the buttons do. All of them give the text the focus.

/// Selects the next occurrence, or tells that there is none.
void findNext(TextTarget &target, Operator &op, const SearchTerms &terms);
/// Replaces what is selected, whatever it is, and selects the next occurrence below it.
void replaceAndFindNext(TextTarget &target, Operator &op, SearchTerms terms);
void replaceAll(TextTarget &target, const SearchTerms &terms);
