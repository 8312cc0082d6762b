#pragma once

#include "findreplace.h"
#include "undoring.h"

#include <QPlainTextEdit>

/// The box in which a message's body is written. It keeps its own history of changes, over every
/// message that it shows in turn.
///
/// The text is a stranger's as often as not: every character stays as it is, but for NUL, which
/// cannot be stored and is left out, and those that part lines.
class BodyEdit final : public QPlainTextEdit, public TextTarget
{
    Q_OBJECT

public:
    explicit BodyEdit(QWidget *parent = nullptr);

    /// The body, its lines ended by CR LF; one that was not changed as it was set.
    QString body() const;
    void setBody(const QString &body);

    void Undo() { restore(m_ring.undo()); }
    void Redo();

    QString text() const override;
    void setText(const QString &text) override;
    qsizetype selectionStart() const override { return textCursor().selectionStart(); }
    qsizetype selectionLength() const override;
    void select(qsizetype start, qsizetype length) override;
    void replaceSelection(const QString &text) override { insertPlainText(text); }
    void takeFocus() override { setFocus(); }

signals:
    void findRequested();

protected:
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent *event) override;
    QMimeData *createMimeDataFromSelection() const override;
    void insertFromMimeData(const QMimeData *source) override;

private:
    void type(QKeyEvent *event);
    void record();
    void restore(const Snapshot &state);
    void replaceDifference(const QString &text);

    UndoRing m_ring;
    bool m_restoring = false;
    QString m_text; ///< as the document has it, lines parted by U+2029
    QString m_setBody;
    bool m_isChanged = false; ///< since then
};
