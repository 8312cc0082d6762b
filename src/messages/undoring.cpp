#include "undoring.h"

#include <algorithm>
#include <set>

namespace
{

/// Small enough that copying one at a key press is nothing, large enough that the list of them is
/// short: 250 pieces for a million characters.
constexpr qsizetype pieceLength = 4096;

int after(int position)
{
    return (position + 1) % UndoRing::size;
}

int before(int position)
{
    return (position + UndoRing::size - 1) % UndoRing::size;
}

/// Appends copies of `text`, cut into pieces of about the same length.
void appendPieces(std::vector<QString> &pieces, QStringView text)
{
    while (!text.isEmpty()) {
        const qsizetype count = (text.size() + pieceLength - 1) / pieceLength;
        const qsizetype length = (text.size() + count - 1) / count;
        pieces.push_back(text.first(length).toString());
        text = text.sliced(length);
    }
}

/// `text` in pieces: those of `neighbour` as far as they are the same from either end. Short ones
/// beside the change are joined with it, so that typing on and on does not make a piece a letter.
std::vector<QString> inPieces(QStringView text, const std::vector<QString> &neighbour)
{
    std::vector<QString> pieces;
    qsizetype begin = 0;
    auto first = neighbour.begin();
    while (first != neighbour.end() && text.sliced(begin).startsWith(*first)) {
        begin += first->size();
        pieces.push_back(*first++);
    }
    qsizetype end = text.size();
    auto last = neighbour.end();
    while (last != first && text.sliced(begin, end - begin).endsWith(*std::prev(last)))
        end -= (--last)->size();

    const auto fits = [&](const QString &piece) {
        return end - begin + piece.size() <= pieceLength;
    };
    while (!pieces.empty() && fits(pieces.back())) {
        begin -= pieces.back().size();
        pieces.pop_back();
    }
    while (last != neighbour.end() && fits(*last))
        end += (last++)->size();
    appendPieces(pieces, text.sliced(begin, end - begin));
    pieces.insert(pieces.end(), last, neighbour.end());
    return pieces;
}

} // namespace

void UndoRing::record(const Snapshot &state)
{
    const Slot &neighbour = m_slots[size_t(m_current)];
    m_current = after(m_current);
    m_newest = m_current;
    m_slots[size_t(m_current)] = {inPieces(state.text, neighbour.pieces), state.caret};
}

Snapshot UndoRing::undo()
{
    m_current = before(m_current);
    if (m_current == m_newest)
        m_current = after(m_current);
    return current();
}

std::optional<Snapshot> UndoRing::redo()
{
    if (m_current == m_newest)
        return {};
    m_current = after(m_current);
    const Snapshot state = current();
    if (m_current == m_newest)
        m_current = before(m_current);
    return state;
}

Snapshot UndoRing::current() const
{
    const Slot &slot = m_slots[size_t(m_current)];
    Snapshot state{{}, slot.caret};
    for (const QString &piece : slot.pieces)
        state.text += piece;
    return state;
}

qsizetype UndoRing::storedBytes() const
{
    std::set<const QChar *> counted;
    qsizetype bytes = 0;
    for (const Slot &slot : m_slots) {
        bytes += qsizetype(slot.pieces.size() * sizeof(QString));
        for (const QString &piece : slot.pieces) {
            if (counted.insert(piece.constData()).second)
                bytes += piece.size() * qsizetype(sizeof(QChar));
        }
    }
    return bytes;
}
