#include "keystates.h"

#include <QKeyEvent>

namespace
{

bool movesCaret(int key)
{
    return (key >= Qt::Key_Home && key <= Qt::Key_PageDown) || key == Qt::Key_Clear ||
           key == Qt::Key_Insert || key == Qt::Key_Delete;
}

} // namespace

void KeyStates::observe(const QKeyEvent &event)
{
    const bool shift = event.modifiers().testFlag(Qt::ShiftModifier);
    const bool plain =
        !(event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
    // Shift turns its meaning round.
    const bool onKeypad = event.modifiers().testFlag(Qt::KeypadModifier) && !shift;
    const QChar letter = event.text().size() == 1 ? event.text().front() : QChar();
    if (event.key() == Qt::Key_CapsLock && !event.isAutoRepeat())
        m_capsLock = !m_capsLock;
    else if (event.key() == Qt::Key_NumLock && !event.isAutoRepeat())
        m_numLock = !m_numLock;
    else if (onKeypad && letter.isDigit())
        m_numLock = true;
    else if (onKeypad && movesCaret(event.key()))
        m_numLock = false;
    else if (plain && letter.isUpper() != letter.isLower())
        m_capsLock = letter.isUpper() != shift;
    else
        return;
    emit changed();
}
