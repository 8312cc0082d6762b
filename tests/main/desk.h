#pragma once

#include "curlwebfetch.h"
#include "fakes.h"
#include "frmsplash.h"
#include "mainwindow.h"
#include "recordinghtmlview.h"
#include "recordingspreadsheet.h"
#include "smtpsendmail.h"
#include "smtpserver.h"
#include "sortablelist.h"
#include "window.h"

#include <QLabel>
#include <QSettings>
#include <QTabWidget>

using namespace Qt::StringLiterals;

/// The program on a folder and a server, with a scripted person before it.
struct Desk {
    /// `makeView`: in place of views that only note.
    explicit Desk(ServerOptions options = {}, const HtmlViewFactory &makeView = {})
        : server(std::move(options))
        , window{
              {folder.folder(), op, clock, yield, web, spreadsheet,
               makeView ? makeView : [](QWidget *parent) { return new RecordingHtmlView(parent); },
               [this] { return std::make_unique<SmtpSendMail>(yield); }}}
    {
        useServer(u"127.0.0.1:%1"_s.arg(server.port()));
    }
    void useServer(const QString &host) const
    {
        QSettings(QSettings::NativeFormat, QSettings::UserScope, "Quillbright", "Quillbright")
            .setValue("SMTP", host);
    }
    /// A job of its own list, of r1@example.org and so on, named R1 and so on, and its own message.
    void addJob(const TestText &name, int recipients, const TestText &body = "Hello") const
    {
        QStringList rows;
        for (int i = 1; i <= recipients; ++i)
            rows += u"'r%1@example.org','R%1'"_s.arg(i);
        folder.addJob(name, folder.addList(name + " list", rows),
                      folder.addMessage(name + " news", body));
    }
    void open()
    {
        const WhenShown<frmSplash> key(
            [](frmSplash &splash) { QTest::keyClick(&splash, Qt::Key_Space); });
        window.load();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }
    template <typename T>
    T *find(const char *name) const
    {
        return child<T>(window, name);
    }
    QString text(const char *label) const { return find<QLabel>(label)->text(); }
    /// The jobs' names, from the top.
    QString names() const
    {
        QStringList result;
        for (int row = 0; row < jobs()->count(); ++row)
            result += jobs()->row(row).cells.first();
        return result.join(u' ');
    }
    SortableList *jobs() const { return find<SortableList>("lvTask"); }
    void clickRow(int row) const
    {
        QTest::mouseClick(jobs()->viewport(), Qt::LeftButton, {},
                          jobs()->visualRect(jobs()->model()->index(row, 1)).center());
    }
    void showTab(int index) const { find<QTabWidget>("TabStrip1")->setCurrentIndex(index); }
    /// The first job as it is stored.
    QString stored() const
    {
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }
    QByteArrayList received() const
    {
        QByteArrayList list;
        for (const ReceivedMessage &message : server.messages())
            list += message.recipients;
        return list;
    }

    TestFolder folder;
    SmtpServer server;
    ScriptedOperator op;
    FakeClock clock;
    EventLoopYield yield;
    CurlWebFetch web{yield};
    RecordingSpreadsheet spreadsheet;
    Main window;
};
