#pragma once

#include "previewwidget.h"

#include <QDialog>

class QLabel;

/// The preview in a window of its own, with keys to move between the recipients.
class frmPreview final : public QDialog
{
    Q_OBJECT

public:
    frmPreview(const ProgramFolder &folder, Operator &op, const Clock &clock,
               const HtmlViewFactory &makeView, QWidget *parent = nullptr);

    void Load_db(const QString &listConnectionString, const QString &format, const QString &body);
    /// Names the job's email in the window's title.
    void setSubject(const QString &subject);

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    bool handle(const QKeyEvent &key);

    PreviewWidget *m_preview;
    QLabel *m_status;
};
