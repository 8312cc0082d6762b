#pragma once

#include <QWidget>

#include <functional>

/// Shows an HTML page from a file of the program folder. Pages may hold anything a recipient or a
/// web site put there: scripts and plug-ins do not run, and other local files are not read.
class HtmlView : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;
    /// Loads the file again when it is the one shown already.
    virtual void showFile(const QString &path) = 0;
};

/// Opens a link of a page in the desktop's browser or mail program. Only what a person can be
/// expected to want by a click in a message: a file: link could start a program.
void openLink(const QUrl &url);

/// Makes a view inside a window, before the window is on screen. What is behind the view may be
/// large, and starts when a page is first to be seen.
using HtmlViewFactory = std::function<HtmlView *(QWidget *parent)>;
