#pragma once

#include "dialogs.h"
#include "recipientexport.h"
#include "recipientquery.h"

#include <memory>

class ExportScreen;

namespace Ui
{
class frmExportData;
}

/// The window that exports or copies the recipients that a grid shows. It is made once and hidden
/// between uses.
class frmExportData final : public WorkDialog
{
    Q_OBJECT

public:
    /// All must outlive the window.
    frmExportData(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op, Yield &yield,
                  QWidget *parent = nullptr);
    ~frmExportData() override;

    /// Shows the window for the recipients of a list that the query selects, in its order.
    void exportRecords(const QString &listConnectionString, const RecipientQuery &query);

protected:
    void abortWork() override { m_export.abort(); }

private:
    void connectOptions();
    void enableFile();
    void runExport();
    void writeRecords();

    std::unique_ptr<Ui::frmExportData> m_ui;
    Operator &m_op;
    std::unique_ptr<ExportScreen> m_screen;
    RecipientExport m_export;
    QString m_listConnectionString;
    RecipientQuery m_query;
};
