#pragma once

#include "htmlview.h"

class QPlainTextEdit;
class QStackedLayout;

/// A message's body: HTML in a browser view, anything else as text. The one place that knows the
/// difference on screen.
class BodyView final : public QWidget
{
    Q_OBJECT

public:
    /// The object names of the text box and of the browser view.
    struct Names {
        QString text;
        QString browser;
    };

    /// `scratchFile`: where HTML is written for the browser to read, with full path.
    BodyView(const QString &scratchFile, const HtmlViewFactory &makeView, const Names &names,
             QWidget *parent = nullptr);

    /// Throws StorageError when the scratch file cannot be written, and then shows what it did.
    void showBody(const QString &format, const QString &body);
    /// Shows an HTML file as it is; one that is missing leaves the view blank.
    void showPage(const QString &path);

private:
    QString m_scratchFile;
    QStackedLayout *m_layout;
    QPlainTextEdit *m_text;
    HtmlView *m_browser;
};
