#pragma once

#include "htmlview.h"

#include <QUrl>

#include <memory>

class QWebEnginePage;
class QWebEngineProfile;
class QWebEngineView;

/// A view on the web engine, which starts when the view is first on screen with something to show.
///
/// A message's body is a stranger's page. It is drawn, and that is all: it runs nothing, reads no
/// other file, and fetches nothing from the network, since a picture of the right address would
/// tell its server who looks at the message and when. Pictures inside the page (data:) are shown.
/// A link opens in the desktop's browser.
class WebHtmlView final : public HtmlView
{
    Q_OBJECT

public:
    explicit WebHtmlView(QWidget *parent = nullptr);
    ~WebHtmlView() override;

    void showFile(const QString &path) override;

signals:
    /// The file is on screen, or could not be read.
    void finished(bool ok);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void startEngine();

    QUrl m_url;
    // In this order: the engine wants its views gone before its pages and these before the profile.
    std::unique_ptr<QWebEngineProfile> m_profile;
    std::unique_ptr<QWebEnginePage> m_page;
    std::unique_ptr<QWebEngineView> m_view;
};
