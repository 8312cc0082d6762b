#pragma once

#include "dialogs.h"
#include "recipientexport.h"

#include <vector>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

/// What the windows that export have in common: the file to export to, and what they show and
/// allow meanwhile.
class ExportDialog : public WorkDialog, private ExportView
{
    Q_OBJECT

protected:
    /// Of the window's form.
    struct Widgets {
        QLabel *status;
        QProgressBar *progress;
        QLineEdit *file;
        QPushButton *browse;
        QPushButton *start;
        QPushButton *abort;
        QPushButton *close;
        std::vector<QWidget *> options;
    };

    /// All must outlive the window.
    ExportDialog(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op, Yield &yield,
                 QWidget *parent);
    /// Once, when the form is set up.
    void setUp(const Widgets &widgets);
    /// Whether the export goes to a file that has to be named.
    void setNeedsFile(bool needsFile);
    /// Exports what the options say; returns when it is over.
    virtual void runExport() = 0;

    Operator &m_op;
    RecipientExport m_export;

private:
    void abortWork() override { m_export.abort(); }
    void showStatus(const QString &text, qint64 count, qint64 total) override;
    void setClipboard(const QString &text) override;
    void chooseFile();
    void start();
    bool mayReplace();
    void setRunning(bool isRunning);
    void enableFileBox(bool isEnabled);

    Widgets m_widgets{};
    QString m_chosen; ///< in the file dialog
    bool m_needsFile = true;
};
