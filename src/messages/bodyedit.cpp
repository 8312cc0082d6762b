#include "bodyedit.h"

#include "longlines.h"

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
    return LongLines::joined(m_text).replace(QChar(QChar::ParagraphSeparator),
                                             QStringLiteral("\r\n"));
}

void BodyEdit::setBody(const QString &body)
{
    const QString text = withoutNul(body);
    if (text != this->body())
        setPlainText(LongLines::broken(text));
    m_setBody = text;
    m_isChanged = false;
}

void BodyEdit::Undo()
{
    restore(m_ring.undo());
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
    selectInBox(state.caret, state.caret);
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
    return LongLines::joined(m_text).replace(QChar(QChar::ParagraphSeparator), QLatin1Char('\n'));
}

void BodyEdit::setText(const QString &text)
{
    if (text != this->text())
        setPlainText(LongLines::broken(text));
}

qsizetype BodyEdit::selectionStart() const
{
    return LongLines::joinedOffset(m_text, textCursor().selectionStart());
}

qsizetype BodyEdit::selectionLength() const
{
    return LongLines::joinedOffset(m_text, textCursor().selectionEnd()) - selectionStart();
}

void BodyEdit::select(qsizetype start, qsizetype length)
{
    selectInBox(LongLines::boxOffset(m_text, start), LongLines::boxOffset(m_text, start + length));
}

void BodyEdit::selectInBox(qsizetype start, qsizetype end)
{
    QTextCursor cursor = textCursor();
    cursor.setPosition(int(start));
    cursor.setPosition(int(end), QTextCursor::KeepAnchor);
    setTextCursor(cursor);
    ensureCursorVisible();
}

int BodyEdit::currentLine() const
{
    const QTextCursor cursor = textCursor();
    // The caret may be told before the text that it is in.
    const qsizetype before = std::min<qsizetype>(cursor.position(), m_text.size());
    return cursor.blockNumber() + 1 - LongLines::breaks(QStringView(m_text).first(before));
}

int BodyEdit::lineCount() const
{
    return blockCount() - LongLines::breaks(m_text);
}

void BodyEdit::replaceSelection(const QString &text)
{
    insertPlainText(LongLines::broken(text));
}

void BodyEdit::takeFocus()
{
    activateWindow();
    setFocus();
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
        insertPlainText(QStringLiteral("\t")); // Tab alone leaves the box
    else
        type(event);
}

void BodyEdit::type(QKeyEvent *event)
{
    // Overwriting takes a letter out and puts another in: one change for all that.
    QTextCursor change = textCursor();
    change.beginEditBlock();
    QPlainTextEdit::keyPressEvent(event);
    change.endEditBlock();
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
    replaceSelection(withoutNul(source->text()));
    ensureCursorVisible();
}
