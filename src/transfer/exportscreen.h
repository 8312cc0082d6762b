#pragma once

#include "recipientexport.h"

class QLabel;
class QLineEdit;
class QProgressBar;

/// What an export shows, in a window's status label and progress bar.
class ExportScreen final : public ExportView
{
public:
    /// Both must outlive the object.
    ExportScreen(QLabel &status, QProgressBar &progress);

    void showStatus(const QString &text, qint64 count, qint64 total) override;
    void setClipboard(const QString &text) override;
    /// The progress bar tells that an export goes on.
    void setRunning(bool isRunning);

private:
    QLabel &m_status;
    QProgressBar &m_progress;
};

/// Asks for the file to export to, and puts it into the box; cancelling changes nothing.
void chooseExportFile(QLineEdit &file, Operator &op);
