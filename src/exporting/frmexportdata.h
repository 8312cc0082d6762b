#pragma once

#include "exportdialog.h"
#include "recipientquery.h"

#include <memory>

namespace Ui
{
class frmExportData;
}

/// The window that exports or copies the recipients that a grid shows. It is made once and hidden
/// between uses.
class frmExportData final : public ExportDialog
{
    Q_OBJECT

public:
    /// All must outlive the window.
    frmExportData(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op, Yield &yield,
                  QWidget *parent = nullptr);
    ~frmExportData() override;

    /// Shows the window for the recipients of a list that the query selects, in its order.
    void exportRecords(const QString &listConnectionString, const RecipientQuery &query);

private:
    void connectOptions();
    void runExport() override;

    std::unique_ptr<Ui::frmExportData> m_ui;
    QString m_listConnectionString;
    RecipientQuery m_query;
};
