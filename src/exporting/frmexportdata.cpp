#include "frmexportdata.h"

#include "exportscreen.h"
#include "ui_frmexportdata.h"

#include "keyset.h"
#include "operator.h"

frmExportData::frmExportData(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                             Yield &yield, QWidget *parent)
    : WorkDialog(parent)
    , m_ui(setUp<Ui::frmExportData>(*this))
    , m_op(op)
    , m_screen(std::make_unique<ExportScreen>(
          ExportScreen::Widgets{m_ui->lbStatus,
                                m_ui->ProgressBar1,
                                m_ui->txtFile,
                                m_ui->cmdFile,
                                m_ui->cmdCancel,
                                {m_ui->FrameOptions, m_ui->cmdExport, m_ui->Command1}},
          op))
    , m_export(folder, spreadsheet, op, *m_screen, yield)
{
    connectOptions();
    connect(m_ui->cmdExport, &QPushButton::clicked, this, &frmExportData::runExport);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &frmExportData::abortWork);
    connect(m_ui->Command1, &QPushButton::clicked, this, &frmExportData::reject);
}

frmExportData::~frmExportData() = default;

/// A workbook and the clipboard exclude each other; neither needs a file.
void frmExportData::connectOptions()
{
    connect(m_ui->chkExcel, &QCheckBox::toggled, this, [this](bool isChecked) {
        if (isChecked)
            m_ui->chkMem->setChecked(false);
        enableFile();
    });
    connect(m_ui->chkMem, &QCheckBox::toggled, this, [this](bool isChecked) {
        if (isChecked)
            m_ui->chkExcel->setChecked(false);
        enableFile();
    });
}

void frmExportData::enableFile()
{
    m_screen->setNeedsFile(!m_ui->chkExcel->isChecked() && !m_ui->chkMem->isChecked());
}

void frmExportData::exportRecords(const QString &listConnectionString, const RecipientQuery &query)
{
    m_listConnectionString = listConnectionString;
    m_query = query;
    exec();
}

void frmExportData::runExport()
{
    if (!m_screen->mayReplace())
        return;
    m_screen->setRunning(true);
    setWorking(true);
    writeRecords();
    m_screen->setRunning(false);
    setWorking(false);
    m_ui->lbStatus->clear();
}

void frmExportData::writeRecords()
{
    const auto kind = m_ui->chkMem->isChecked()     ? ExportDestination::Clipboard
                      : m_ui->chkExcel->isChecked() ? ExportDestination::Workbook
                                                    : ExportDestination::TextFile;
    const QString path = kind == ExportDestination::TextFile ? m_ui->txtFile->text() : QString();
    try {
        Keyset rows(m_listConnectionString, RecipientQuery::columns(), m_query.condition(),
                    m_query.order());
        m_export.exportRecords(rows, RecipientQuery::titles(), m_ui->chkHeader->isChecked(),
                               {kind, path, m_ui->CombSep->currentText(), tr("Records")});
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
    }
}
