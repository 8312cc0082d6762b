#include "frmimport.h"

#include "spreadsheet.h"
#include "ui_frmimport.h"
#include "ui_frmsample.h"

#include "frametitle.h"
#include "operator.h"
#include "programfolder.h"
#include "statuspanel.h"

#include <QFileInfo>

frmImport::frmImport(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                     Yield &yield, QWidget *parent)
    : WorkDialog(parent)
    , m_ui(std::make_unique<Ui::frmImport>())
    , m_folder(folder)
    , m_spreadsheet(spreadsheet)
    , m_op(op)
    , m_import(folder, spreadsheet, op, *this, yield)
    , m_sample(new QDialog(this))
{
    m_ui->setupUi(this);
    Ui::frmSample().setupUi(m_sample);
    m_ui->logBox->setUp(op, [&folder](const QString &path) { folder.refuseOwnFile(path); });
    constexpr int pictureSize = 96;
    m_ui->Image1->setPixmap(QIcon::fromTheme(QStringLiteral("document-import"))
                                .pixmap({pictureSize, pictureSize}, devicePixelRatio()));
    for (QLabel *&panel : m_panels)
        panel = addStatusPanel(*m_ui->StatusBar1);
    connect(m_ui->cmdOpen, &QPushButton::clicked, this, &frmImport::chooseFile);
    connect(m_ui->cmdSample, &QPushButton::clicked, m_sample, &QDialog::exec);
    connect(m_ui->cmdSampleXLS, &QPushButton::clicked, this, &frmImport::showSampleWorkbook);
    connect(m_ui->cmdImport, &QPushButton::clicked, this, &frmImport::import);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &frmImport::abortWork);
    connect(m_ui->cmdClose, &QPushButton::clicked, this, &frmImport::reject);
    setRunning(false);
}

frmImport::~frmImport() = default;

void frmImport::importInto(qint64 listId, const QString &listName)
{
    SetAttribute(listId, listName);
    exec();
}

void frmImport::SetAttribute(qint64 listId, const QString &listName)
{
    m_listId = listId;
    m_ui->Frame1->setTitle(tr(" List : %1 ").arg(inCaption(listName)));
    m_ui->Text1->clear();
    m_ui->CombSep->setCurrentIndex(0);
    for (QLabel *panel : m_panels)
        panel->clear();
    showLog(false);
    m_ui->Text1->setFocus();
}

void frmImport::chooseFile()
{
    const QString path = m_op.openFile(
        tr("File"), QStringLiteral("TXT/CSV/XLS (*.txt;*.csv;*.xls)|*.txt;*.csv;*.xls"));
    if (!path.isEmpty())
        m_ui->Text1->setText(path);
}

void frmImport::import()
{
    const QString path = m_ui->Text1->text();
    m_ui->logBox->clear();
    showLog(true);
    setRunning(true);
    m_import.run(m_listId, path, RecipientImport::isWorkbook(path), m_ui->CombSep->currentText());
    setRunning(false);
}

void frmImport::showSampleWorkbook()
{
    const QString path = m_folder.file(QStringLiteral("email_sample.xls"));
    if (m_spreadsheet.show(path))
        return;
    const QString why = QFileInfo::exists(path) ? tr("No program was found that opens %1.")
                                                : tr("%1 does not exist.");
    m_op.tell(why.arg(path) + tr("\r\nYou must install Microsoft Excel !"));
}

void frmImport::setRunning(bool isRunning)
{
    for (QWidget *widget : std::initializer_list<QWidget *>{
             m_ui->Frame1, m_ui->cmdImport, m_ui->cmdClose, m_ui->logBox->saveButton()})
        widget->setEnabled(!isRunning);
    m_ui->cmdCancel->setEnabled(isRunning);
    m_ui->ProgressBar1->setVisible(isRunning);
    setWorking(isRunning);
}

/// The log takes the place of the picture.
void frmImport::showLog(bool isShown)
{
    m_ui->picture->setVisible(!isShown);
    m_ui->logBox->setVisible(isShown);
}

void frmImport::showCounts(const ImportCounts &counts, double progress)
{
    const QStringList texts = counts.panels();
    for (size_t i = 0; i < m_panels.size(); ++i)
        m_panels[i]->setText(texts[qsizetype(i)]);
    m_ui->ProgressBar1->setValue(int(progress * m_ui->ProgressBar1->maximum()));
}

void frmImport::appendLog(const QString &text)
{
    m_ui->logBox->append(text);
}
