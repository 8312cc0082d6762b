#pragma once

#include "dialogs.h"
#include "recipientimport.h"

#include <array>
#include <memory>

class QLabel;

namespace Ui
{
class frmImport;
}

/// The window that imports recipients from a file into a list. It is made once and hidden between
/// uses.
class frmImport final : public WorkDialog, private ImportView
{
    Q_OBJECT

public:
    /// All must outlive the window.
    frmImport(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op, Yield &yield,
              QWidget *parent = nullptr);
    ~frmImport() override;

    /// Shows the window for a list.
    void importInto(qint64 listId, const QString &listName);

protected:
    void abortWork() override { m_import.abort(); }

private:
    void SetAttribute(qint64 listId, const QString &listName);
    void chooseFile();
    void import();
    void showSampleWorkbook();
    void setRunning(bool isRunning);
    void showLog(bool isShown);

    void showCounts(const ImportCounts &counts, double progress) override;
    void appendLog(const QString &text) override;

    std::unique_ptr<Ui::frmImport> m_ui;
    const ProgramFolder &m_folder;
    Spreadsheet &m_spreadsheet;
    Operator &m_op;
    RecipientImport m_import;
    QDialog *m_sample;
    std::array<QLabel *, 3> m_panels;
    qint64 m_listId = 0;
};
