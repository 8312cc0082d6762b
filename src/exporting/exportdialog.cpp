#include "exportdialog.h"

#include "operator.h"

#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

#include <utility>

ExportDialog::ExportDialog(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                           Yield &yield, QWidget *parent)
    : WorkDialog(parent)
    , m_op(op)
    , m_export(folder, spreadsheet, op, *this, yield)
{
}

void ExportDialog::setUp(const Widgets &widgets)
{
    m_widgets = widgets;
    connect(widgets.browse, &QPushButton::clicked, this, &ExportDialog::chooseFile);
    connect(widgets.start, &QPushButton::clicked, this, &ExportDialog::start);
    connect(widgets.abort, &QPushButton::clicked, this, &ExportDialog::abortWork);
    connect(widgets.close, &QPushButton::clicked, this, &ExportDialog::reject);
    setRunning(false);
}

void ExportDialog::chooseFile()
{
    const QString path =
        m_op.saveFile(tr("File"), QStringLiteral("TXT/CSV (*.txt;*.csv)|*.txt;*.csv"));
    if (path.isEmpty())
        return;
    m_chosen = path;
    m_widgets.file->setText(path);
}

void ExportDialog::start()
{
    if (!mayReplace())
        return;
    setRunning(true);
    runExport();
    setRunning(false);
    m_widgets.status->clear();
}

/// Asks before a file is replaced, unless the file dialog has done so.
bool ExportDialog::mayReplace()
{
    const QString path = m_widgets.file->text();
    return !m_needsFile || std::exchange(m_chosen, {}) == path || !QFileInfo(path).isFile() ||
           m_op.ask(tr("%1 exists already. Replace it?").arg(path), tr("Export"));
}

void ExportDialog::showStatus(const QString &text, qint64 count, qint64 total)
{
    m_widgets.status->setText(text);
    m_widgets.progress->setValue(total > 0 ? int(count * m_widgets.progress->maximum() / total)
                                           : 0);
}

void ExportDialog::setClipboard(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void ExportDialog::setNeedsFile(bool needsFile)
{
    m_needsFile = needsFile;
    enableFileBox(needsFile);
}

void ExportDialog::setRunning(bool isRunning)
{
    m_widgets.progress->setVisible(isRunning);
    m_widgets.abort->setEnabled(isRunning);
    m_widgets.start->setEnabled(!isRunning);
    m_widgets.close->setEnabled(!isRunning);
    for (QWidget *option : m_widgets.options)
        option->setEnabled(!isRunning);
    enableFileBox(m_needsFile && !isRunning);
    setWorking(isRunning);
}

void ExportDialog::enableFileBox(bool isEnabled)
{
    m_widgets.file->setEnabled(isEnabled);
    m_widgets.browse->setEnabled(isEnabled);
}
