#pragma once

#include <QString>

#include <array>
#include <optional>
#include <vector>

/// A text as it was, and where its caret stood.
struct Snapshot {
    QString text;
    qsizetype caret = 0; ///< characters before it

    bool operator==(const Snapshot &) const = default;
};

/// The last states of a text, in a ring of 100 that begins as empty texts.
///
/// Every change is recorded. Going back stops before the newest state would come up from behind, so
/// that at most 99 steps can be undone; what was undone and then overtaken by another change comes
/// up at the far end, as the oldest. Redoing the newest state leaves the position one before it.
///
/// States share what they have in common: a text is kept in pieces, and a change makes new ones
/// only where it happened.
class UndoRing
{
public:
    static constexpr int size = 100;

    /// The text has changed to `state`.
    void record(const Snapshot &state);
    /// The state one step back; at the end of the ring the oldest, again.
    Snapshot undo();
    /// The state one step forward; none at the newest.
    std::optional<Snapshot> redo();

    /// What the texts in the ring take, shared pieces once.
    qsizetype storedBytes() const;

private:
    struct Slot {
        std::vector<QString> pieces;
        qsizetype caret = 0;
    };
    Snapshot current() const;

    std::array<Slot, size> m_slots;
    int m_current = 0;
    int m_newest = 0;
};
