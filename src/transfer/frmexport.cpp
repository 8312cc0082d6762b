#include "frmexport.h"

#include "exportscreen.h"
#include "ui_frmexport.h"

namespace
{

std::unique_ptr<Ui::frmExport> setUp(QDialog &window)
{
    auto ui = std::make_unique<Ui::frmExport>();
    ui->setupUi(&window);
    return ui;
}

} // namespace

frmExport::frmExport(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                     Yield &yield, QWidget *parent)
    : WorkDialog(parent)
    , m_ui(setUp(*this))
    , m_op(op)
    , m_screen(std::make_unique<ExportScreen>(*m_ui->lbStatus, *m_ui->ProgressBar1))
    , m_export(folder, spreadsheet, op, *m_screen, yield)
{
    connect(m_ui->chkExcel, &QCheckBox::toggled, this, &frmExport::enableFile);
    connect(m_ui->cmdFile, &QPushButton::clicked, this,
            [this] { chooseExportFile(*m_ui->txtFile, m_op); });
    connect(m_ui->cmdExport, &QPushButton::clicked, this, &frmExport::runExport);
    connect(m_ui->Command1, &QPushButton::clicked, this, [this] { m_export.abort(); });
    m_ui->Command1->setEnabled(false);
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
    // In a frame's title "&" marks a key; a name means the character.
    const QString shown = QString(listName).replace(QLatin1Char('&'), QStringLiteral("&&"));
    m_ui->Frame1->setTitle(tr(" Export maillist : %1-%2").arg(QString::number(listId), shown));
}

void frmExport::enableFile()
{
    const bool isText = !m_ui->chkExcel->isChecked();
    if (!isText)
        m_ui->txtFile->clear();
    m_ui->txtFile->setEnabled(isText);
    m_ui->cmdFile->setEnabled(isText);
}

void frmExport::runExport()
{
    const ExportFilter filter = m_ui->OptionSucc->isChecked()   ? ExportFilter::Success
                                : m_ui->OptionFail->isChecked() ? ExportFilter::Fail
                                                                : ExportFilter::All;
    const bool isWorkbook = m_ui->chkExcel->isChecked();
    const auto setRunning = [this](bool isRunning) {
        m_ui->Frame1->setEnabled(!isRunning);
        m_ui->cmdExport->setEnabled(!isRunning);
        m_ui->Command1->setEnabled(isRunning);
        m_screen->setRunning(isRunning);
        setWorking(isRunning);
    };
    setRunning(true);
    m_export.exportList(m_listId, filter,
                        {isWorkbook ? ExportDestination::Workbook : ExportDestination::TextFile,
                         m_ui->txtFile->text(), m_ui->CombSep->currentText(), m_listName});
    setRunning(false);
}

void frmExport::abortWork()
{
    m_export.abort();
}
