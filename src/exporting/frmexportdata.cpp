#include "frmexportdata.h"

#include "ui_frmexportdata.h"

#include "keyset.h"
#include "operator.h"

frmExportData::frmExportData(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                             Yield &yield, QWidget *parent)
    : ExportDialog(folder, spreadsheet, op, yield, parent)
    , m_ui(std::make_unique<Ui::frmExportData>())
{
    m_ui->setupUi(this);
    setUp({m_ui->lbStatus,
           m_ui->ProgressBar1,
           m_ui->txtFile,
           m_ui->cmdFile,
           m_ui->cmdExport,
           m_ui->cmdCancel,
           m_ui->Command1,
           {m_ui->FrameOptions}});
    connectOptions();
}

frmExportData::~frmExportData() = default;

/// A workbook and the clipboard exclude each other; neither needs a file.
void frmExportData::connectOptions()
{
    const auto exclude = [this](const QCheckBox *box, QCheckBox *other) {
        connect(box, &QCheckBox::toggled, this, [this, other](bool isChecked) {
            if (isChecked)
                other->setChecked(false);
            setNeedsFile(!m_ui->chkExcel->isChecked() && !m_ui->chkMem->isChecked());
        });
    };
    exclude(m_ui->chkExcel, m_ui->chkMem);
    exclude(m_ui->chkMem, m_ui->chkExcel);
}

void frmExportData::exportRecords(const QString &listConnectionString, const RecipientQuery &query)
{
    m_listConnectionString = listConnectionString;
    m_query = query;
    exec();
}

void frmExportData::runExport()
{
    const auto kind = m_ui->chkMem->isChecked()     ? ExportDestination::Clipboard
                      : m_ui->chkExcel->isChecked() ? ExportDestination::Workbook
                                                    : ExportDestination::TextFile;
    const QString path = kind == ExportDestination::TextFile ? m_ui->txtFile->text() : QString();
    try {
        Keyset rows(m_listConnectionString, QStringLiteral("email"), RecipientQuery::columns(),
                    m_query.condition(), m_query.order());
        m_export.exportRecords(rows, RecipientQuery::titles(), m_ui->chkHeader->isChecked(),
                               {kind, path, m_ui->CombSep->currentText(), tr("Records")});
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
    }
}
