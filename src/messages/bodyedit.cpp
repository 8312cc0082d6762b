#include "bodyedit.h"

#include <QKeyEvent>
#include <QMimeData>
#include <QScopedValueRollback>

#include <algorithm>

namespace
{

QString withoutNul(QString text)
{
    return text.remove(QChar::Null);
}

bool isControl(const QKeyEvent &event, Qt::Key key)
{
    return event.key() == key && event.modifiers() == Qt::ControlModifier;
}

} // namespace

BodyEdit::BodyEdit(QWidget *parent)
    : QPlainTextEdit(parent)
{
    // The ring remembers instead.
    setUndoRedoEnabled(false);
    connect(this, &QPlainTextEdit::textChanged, this, &BodyEdit::record);
}

QString BodyEdit::body() const
{
    if (!m_isChanged)
        return m_setBody;
    return QString(m_text).replace(QChar(QChar::ParagraphSeparator), QStringLiteral("\r\n"));
}

void BodyEdit::setBody(const QString &body)
{
    const QString text = withoutNul(body);
    if (text != this->body())
        setPlainText(text);
    m_setBody = text;
    m_isChanged = false;
}

void BodyEdit::Redo()
{
    if (const auto state = m_ring.redo())
        restore(*state);
}

void BodyEdit::record()
{
    // Not toPlainText(), which takes no-break spaces for blanks.
    const QString text = document()->toRawText();
    // What an input method composes is not in the text yet, but a change to the box.
    if (text == m_text)
        return;
    m_text = text;
    m_isChanged = true;
    if (!m_restoring)
        m_ring.record({text, textCursor().selectionStart()});
}

void BodyEdit::restore(const Snapshot &state)
{
    const QScopedValueRollback restoring(m_restoring, true);
    setUpdatesEnabled(false);
    replaceDifference(state.text);
    select(state.caret, 0);
    setUpdatesEnabled(true);
}

/// Makes the text `text` by changing what differs, so that a long one need not be laid out again.
void BodyEdit::replaceDifference(const QString &text)
{
    const QString now = m_text;
    const qsizetype shorter = std::min(now.size(), text.size());
    qsizetype front =
        std::mismatch(now.begin(), now.begin() + shorter, text.begin()).first - now.begin();
    // A character that takes two is replaced as a whole.
    if (front > 0 && now[front - 1].isHighSurrogate())
        --front;
    qsizetype back =
        std::mismatch(now.rbegin(), now.rbegin() + (shorter - front), text.rbegin()).first -
        now.rbegin();
    if (back > 0 && now[now.size() - back].isLowSurrogate())
        --back;
    if (front == now.size() && front == text.size())
        return;
    QTextCursor cursor(document());
    cursor.setPosition(int(front));
    cursor.setPosition(int(now.size() - back), QTextCursor::KeepAnchor);
    cursor.insertText(text.sliced(front, text.size() - back - front));
}

QString BodyEdit::text() const
{
    return QString(m_text).replace(QChar(QChar::ParagraphSeparator), QLatin1Char('\n'));
}

void BodyEdit::setText(const QString &text)
{
    if (text != this->text())
        setPlainText(text);
}

qsizetype BodyEdit::selectionLength() const
{
    const QTextCursor cursor = textCursor();
    return cursor.selectionEnd() - cursor.selectionStart();
}

void BodyEdit::select(qsizetype start, qsizetype length)
{
    QTextCursor cursor = textCursor();
    cursor.setPosition(int(start));
    cursor.setPosition(int(start + length), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    ensureCursorVisible();
}

/// Tab is typed, as in every letter; Shift+Tab goes back to the subject. The text box's own
/// function would keep the focus.
bool BodyEdit::focusNextPrevChild(bool next)
{
    return !next && QWidget::focusNextPrevChild(next); // NOLINT(bugprone-parent-virtual-call)
}

void BodyEdit::keyPressEvent(QKeyEvent *event)
{
    if (isControl(*event, Qt::Key_Z) || event->matches(QKeySequence::Undo))
        Undo();
    else if (isControl(*event, Qt::Key_Y) || event->matches(QKeySequence::Redo))
        Redo();
    else if (isControl(*event, Qt::Key_F))
        emit findRequested();
    else if (isControl(*event, Qt::Key_Tab))
        QWidget::focusNextPrevChild(true); // NOLINT(bugprone-parent-virtual-call)
    else
        type(event);
}

void BodyEdit::type(QKeyEvent *event)
{
    // Overwriting takes a letter out and puts another in: one change, when the letter is selected.
    QTextCursor letter = textCursor();
    const bool isText = !event->text().isEmpty() && event->text().front().isPrint() &&
                        !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier));
    if (overwriteMode() && isText && !letter.hasSelection() && !letter.atBlockEnd()) {
        letter.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor);
        setTextCursor(letter);
    }
    QPlainTextEdit::keyPressEvent(event);
}

QMimeData *BodyEdit::createMimeDataFromSelection() const
{
    auto *selection = new QMimeData;
    selection->setText(text().sliced(selectionStart(), selectionLength()));
    return selection;
}

void BodyEdit::insertFromMimeData(const QMimeData *source)
{
    if (!source->hasText())
        return;
    insertPlainText(withoutNul(source->text()));
    ensureCursorVisible();
}
