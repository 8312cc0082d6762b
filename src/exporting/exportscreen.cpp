#include "exportscreen.h"

#include "operator.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

#include <utility>

ExportScreen::ExportScreen(const Widgets &widgets, Operator &op)
    : m_widgets(widgets)
    , m_op(op)
{
    QObject::connect(widgets.browse, &QPushButton::clicked, widgets.file, [this] { chooseFile(); });
    enable();
}

void ExportScreen::chooseFile()
{
    const QString path = m_op.saveFile(QCoreApplication::translate("export", "File"),
                                       QStringLiteral("TXT/CSV (*.txt;*.csv)|*.txt;*.csv"));
    if (path.isEmpty())
        return;
    m_chosen = path;
    m_widgets.file->setText(path);
}

bool ExportScreen::mayReplace()
{
    const QString path = m_widgets.file->text();
    return !m_needsFile || std::exchange(m_chosen, {}) == path || !QFileInfo(path).isFile() ||
           m_op.ask(
               QCoreApplication::translate("export", "%1 exists already. Replace it?").arg(path),
               QCoreApplication::translate("export", "Export"));
}

void ExportScreen::showStatus(const QString &text, qint64 count, qint64 total)
{
    m_widgets.status->setText(text);
    m_widgets.progress->setValue(total > 0 ? int(count * m_widgets.progress->maximum() / total)
                                           : 0);
}

void ExportScreen::setClipboard(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void ExportScreen::setNeedsFile(bool needsFile)
{
    m_needsFile = needsFile;
    enable();
}

void ExportScreen::setRunning(bool isRunning)
{
    m_isRunning = isRunning;
    enable();
}

void ExportScreen::enable()
{
    m_widgets.progress->setVisible(m_isRunning);
    m_widgets.abort->setEnabled(m_isRunning);
    m_widgets.file->setEnabled(m_needsFile && !m_isRunning);
    m_widgets.browse->setEnabled(m_needsFile && !m_isRunning);
    for (QWidget *widget : m_widgets.others)
        widget->setEnabled(!m_isRunning);
}
