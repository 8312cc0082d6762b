#include "exportscreen.h"

#include "operator.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>

ExportScreen::ExportScreen(QLabel &status, QProgressBar &progress)
    : m_status(status)
    , m_progress(progress)
{
    m_progress.hide();
}

void ExportScreen::showStatus(const QString &text, qint64 count, qint64 total)
{
    m_status.setText(text);
    m_progress.setValue(total > 0 ? int(count * m_progress.maximum() / total) : 0);
}

void ExportScreen::setClipboard(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void ExportScreen::setRunning(bool isRunning)
{
    m_progress.setVisible(isRunning);
}

void chooseExportFile(QLineEdit &file, Operator &op)
{
    const QString path = op.saveFile(QCoreApplication::translate("export", "File"),
                                     QStringLiteral("TXT/CSV (*.txt;*.csv)|*.txt;*.csv"));
    if (!path.isEmpty())
        file.setText(path);
}
