#pragma once

#include "curlwebfetch.h"
#include "fakes.h"
#include "frmsplash.h"
#include "mainwindow.h"
#include "recordinghtmlview.h"
#include "recordingspreadsheet.h"
#include "smtpsendmail.h"
#include "sortablelist.h"
#include "testfolder.h"
#include "window.h"

#include <QAction>
#include <QTabWidget>
#include <QTest>
#include <QToolBar>

/// The program on a folder, with a scripted person before it.
struct Desk {
    /// `teller`: who is told, where it is not the scripted one.
    explicit Desk(Operator *teller = nullptr)
        : window{{folder.folder(), teller ? *teller : op, clock, yield, web, spreadsheet,
                  [](QWidget *parent) { return new RecordingHtmlView(parent); },
                  [this] { return std::make_unique<SmtpSendMail>(yield); }}}
    {
    }
    qint64 addJob(const TestText &name, const QStringList &recipients,
                  const TestText &body = "Hello") const
    {
        return folder.addJob(name, folder.addList(name + QStringLiteral(" list"), recipients),
                             folder.addMessage(name + QStringLiteral(" news"), body));
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
    QAction *toolbar(const char *key) const
    {
        return child<QAction>(*find<QToolBar>("Toolbar1"), key);
    }
    SortableList *jobs() const { return find<SortableList>("lvTask"); }
    void clickRow(int row) const
    {
        QTest::mouseClick(jobs()->viewport(), Qt::LeftButton, {},
                          jobs()->visualRect(jobs()->model()->index(row, 1)).center());
    }
    void showTab(int index) const { find<QTabWidget>("TabStrip1")->setCurrentIndex(index); }

    TestFolder folder;
    ScriptedOperator op;
    FakeClock clock;
    EventLoopYield yield;
    CurlWebFetch web{yield};
    RecordingSpreadsheet spreadsheet;
    Main window;
};
