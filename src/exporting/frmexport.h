#pragma once

#include "exportdialog.h"

#include <memory>

namespace Ui
{
class frmExport;
}

/// The window that exports a whole list, or its failed recipients, or the others. It is made once
/// and hidden between uses.
class frmExport final : public ExportDialog
{
    Q_OBJECT

public:
    /// All must outlive the window.
    frmExport(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op, Yield &yield,
              QWidget *parent = nullptr);
    ~frmExport() override;

    /// Shows the window for a list.
    void exportList(qint64 listId, const QString &listName);

private:
    void SetAttribute(qint64 listId, const QString &listName);
    void runExport() override;
    void enableFile();

    std::unique_ptr<Ui::frmExport> m_ui;
    qint64 m_listId = 0;
    QString m_listName;
};
