#pragma once

#include "previewwidget.h"

/// The main window's Preview tab: the preview with a toolbar.
class PreviewPanel final : public QWidget
{
    Q_OBJECT

public:
    PreviewPanel(const ProgramFolder &folder, Operator &op, const Clock &clock,
                 const HtmlViewFactory &makeView, QWidget *parent = nullptr);

    void Load_prev_db(const QString &listConnectionString, const QString &format,
                      const QString &body);

    /// Of the "Preview" button, which opens a window.
    void enablePreview(bool enabled);

signals:
    /// The person wants the preview in its own window.
    void previewRequested();
    /// After a load and after every move; `position` from 1, or 0 of 0.
    void positionChanged(qsizetype position, qsizetype count);

private:
    PreviewWidget *m_preview;
};
