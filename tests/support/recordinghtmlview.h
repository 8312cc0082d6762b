#pragma once

#include "htmlview.h"

#include <QStringList>

/// Notes the files it is asked to show.
class RecordingHtmlView final : public HtmlView
{
public:
    using HtmlView::HtmlView;
    void showFile(const QString &path) override { shown += path; }

    /// Makes such views; `last` becomes the latest one.
    static HtmlViewFactory factory(RecordingHtmlView *&last)
    {
        return [&last](QWidget *parent) { return last = new RecordingHtmlView(parent); };
    }

    QStringList shown;
};
