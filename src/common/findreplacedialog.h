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

    /// `owner`: the window of the texts. `op` must outlive the dialog.
    FindReplaceDialog(Operator &op, QWidget *owner);
    ~FindReplaceDialog() override;

    /// Opens over `target`, which must stay until the dialog closes. What was typed is kept while
    /// the dialog is open in this mode over this target, else its boxes are empty and no option
    /// is set.
    void openFor(Mode mode, TextTarget &target);

private:
    void findNext();
    void replace();
    void replaceAll();
    SearchTerms terms() const;
    void updateButtons();

    std::unique_ptr<Ui::FindReplaceDialog> m_ui;
    Operator &m_op;
    Mode m_mode = Mode::Find;
    TextTarget *m_target = nullptr; ///< null while closed
};
