#pragma once

#include "htmlview.h"

/// A plainer view for where the web engine cannot run: text, headings, tables and lists, without
/// pictures. The engine refuses to start for root, whom its sandbox cannot protect.
class TextHtmlView final : public HtmlView
{
    Q_OBJECT

public:
    explicit TextHtmlView(QWidget *parent = nullptr);
    void showFile(const QString &path) override;

private:
    class Browser;
    Browser *m_browser;
};
