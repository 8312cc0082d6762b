#include "exportscreen.h"

#include "operator.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

ExportScreen::ExportScreen(const Widgets &widgets, Operator &op)
    : m_widgets(widgets)
{
    QObject::connect(
        widgets.browse, &QPushButton::clicked, widgets.file, [file = widgets.file, &op] {
            const QString path = op.saveFile(QCoreApplication::translate("export", "File"),
                                             QStringLiteral("TXT/CSV (*.txt;*.csv)|*.txt;*.csv"));
            if (!path.isEmpty())
                file->setText(path);
        });
    enable();
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
