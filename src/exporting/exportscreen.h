#pragma once

#include "recipientexport.h"

#include <memory>
#include <vector>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QWidget;

/// What the windows that export have in common: the file to export to, and what they show and
/// allow meanwhile.
class ExportScreen final : public ExportView
{
public:
    /// Of a window; all must outlive the object.
    struct Widgets {
        QLabel *status;
        QProgressBar *progress;
        QLineEdit *file;
        QPushButton *browse;
        QPushButton *abort;
        std::vector<QWidget *> others; ///< of no use during an export
    };
    ExportScreen(const Widgets &widgets, Operator &op);

    void showStatus(const QString &text, qint64 count, qint64 total) override;
    void setClipboard(const QString &text) override;
    /// Whether the export goes to a file that has to be named.
    void setNeedsFile(bool needsFile);
    void setRunning(bool isRunning);
    /// Asks before a file is replaced, unless the file dialog has done so.
    bool mayReplace();

private:
    void chooseFile();
    void enable();

    const Widgets m_widgets;
    Operator &m_op;
    QString m_chosen; ///< in the file dialog
    bool m_needsFile = true;
    bool m_isRunning = false;
};

/// The form of a window, with its widgets made, for members that need them when they are made.
template <typename Form, typename Window>
std::unique_ptr<Form> setUp(Window &window)
{
    auto form = std::make_unique<Form>();
    form->setupUi(&window);
    return form;
}
