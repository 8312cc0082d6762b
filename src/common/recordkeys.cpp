#include "recordkeys.h"

#include <QKeyEvent>

std::optional<RecordMove> recordMove(const QKeyEvent &key)
{
    const bool isFar = key.modifiers() & Qt::ControlModifier;
    switch (key.key()) {
    case Qt::Key_Home:
        return RecordMove::First;
    case Qt::Key_End:
        return RecordMove::Last;
    case Qt::Key_Up:
    case Qt::Key_PageUp:
        return isFar ? RecordMove::First : RecordMove::Previous;
    case Qt::Key_Down:
    case Qt::Key_PageDown:
        return isFar ? RecordMove::Last : RecordMove::Next;
    default:
        return std::nullopt;
    }
}
