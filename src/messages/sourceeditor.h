#pragma once

#include <QWidget>

#include <array>
#include <memory>

class BodyEdit;
class FindReplaceDialog;
class KeyStates;
class Operator;
class QLabel;

namespace Ui
{
class SourceEditor;
}

/// The body pane of the message editor: the body with its toolbar, fonts and line status.
class SourceEditor final : public QWidget
{
    Q_OBJECT

public:
    /// `op` must outlive the pane.
    explicit SourceEditor(Operator &op, QWidget *parent = nullptr);
    ~SourceEditor() override;

    BodyEdit &text() const;

signals:
    /// The body is to come from a file, or from a web address.
    void openRequested();
    void openWebRequested();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void connectToolbar();
    void addFields();
    void fillFonts();
    void addStatusPanels();
    FindReplaceDialog &findDialog();
    void applyFont();
    void GetCurrentLine();
    void showKeyStates();

    std::unique_ptr<Ui::SourceEditor> m_ui;
    Operator &m_op;
    KeyStates *m_keyStates;
    std::array<QLabel *, 5> m_panels;
    FindReplaceDialog *m_find = nullptr; // made at the first search
};
