#include "frmexport.h"

#include "ui_frmexport.h"

#include "frametitle.h"

frmExport::frmExport(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                     Yield &yield, QWidget *parent)
    : ExportDialog(folder, spreadsheet, op, yield, parent)
    , m_ui(std::make_unique<Ui::frmExport>())
{
    m_ui->setupUi(this);
    setUp({m_ui->lbStatus,
           m_ui->ProgressBar1,
           m_ui->txtFile,
           m_ui->cmdFile,
           m_ui->cmdExport,
           m_ui->Command1,
           m_ui->cmdClose,
           {m_ui->FrameFilter, m_ui->FrameOption}});
    connect(m_ui->chkExcel, &QCheckBox::toggled, this, &frmExport::enableFile);
}

frmExport::~frmExport() = default;

void frmExport::exportList(qint64 listId, const QString &listName)
{
    SetAttribute(listId, listName);
    exec();
}

void frmExport::SetAttribute(qint64 listId, const QString &listName)
{
    m_listId = listId;
    m_listName = listName;
    m_ui->txtFile->clear();
    m_ui->Frame1->setTitle(
        tr(" Export maillist : %1-%2").arg(QString::number(listId), inCaption(listName)));
}

void frmExport::enableFile()
{
    const bool isText = !m_ui->chkExcel->isChecked();
    if (!isText)
        m_ui->txtFile->clear();
    setNeedsFile(isText);
}

void frmExport::runExport()
{
    const ExportFilter filter = m_ui->OptionSucc->isChecked()   ? ExportFilter::Success
                                : m_ui->OptionFail->isChecked() ? ExportFilter::Fail
                                                                : ExportFilter::All;
    const bool isWorkbook = m_ui->chkExcel->isChecked();
    m_export.exportList(m_listId, filter,
                        {isWorkbook ? ExportDestination::Workbook : ExportDestination::TextFile,
                         m_ui->txtFile->text(), m_ui->CombSep->currentText(), m_listName});
}
