#pragma once

#include <QDialog>

#include <memory>

class Operator;
class SearchTerms;
class TextTarget;

namespace Ui
{
class FindReplaceDialog;
}

/// Looks for text in another window's text box, which stays usable meanwhile, or replaces it there.
/// One dialog does both, so that only one of them is open at a time.
class FindReplaceDialog final : public QDialog
{
    Q_OBJECT

public:
    enum class Mode { Find, Replace };

    /// `owner`: the window of `target`. All of them must outlive the dialog.
    FindReplaceDialog(TextTarget &target, Operator &op, QWidget *owner);
    ~FindReplaceDialog() override;

    /// Opens with the texts that were typed last. The options are kept only while the dialog stays
    /// open in this mode.
    void openAs(Mode mode);
    /// Finds what was looked for last, without the dialog where there is such a text.
    void findAgain(bool up);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    SearchTerms terms() const;
    void updateButtons();

    std::unique_ptr<Ui::FindReplaceDialog> m_ui;
    TextTarget &m_target;
    Operator &m_op;
    Mode m_mode = Mode::Find;
};
