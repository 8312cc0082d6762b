#pragma once

#include "account.h"
#include "connection.h"
#include "fakes.h"
#include "jobstore.h"
#include "runrecord.h"
#include "sendrun.h"
#include "testfiles.h"
#include "testfolder.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Result = SendRun::Result;

/// A job of one list and one message, and everything a run of it needs.
struct Job {
    explicit Job(const QStringList &recipients, const TestText &body = "Hello")
    {
        folder.addList("Members", recipients);
        folder.addJob("Spring", 1, folder.addMessage("News", body));
        settings.values.smtpServer = u"mail.example.org"_s;
    }
    /// With recipients r1, r2, ...
    explicit Job(int count)
        : Job(addresses(1, count))
    {
    }
    static QStringList addresses(int first, int last)
    {
        QStringList list;
        for (int i = first; i <= last; ++i)
            list += u"r%1"_s.arg(i);
        return list;
    }

    JobRow row() const
    {
        Connection system(folder.folder().systemConnectionString());
        return loadJobs(system).at(0);
    }
    Result start(const JobRow &shown, bool failedOnly = false)
    {
        mail.sent.clear();
        Connection system(folder.folder().systemConnectionString());
        const Result result = run.start(shown, loadMessage(system, 1), failedOnly);
        verify();
        return result;
    }
    /// At every moment everybody is accounted for.
    void verify() const
    {
        Connection list(folder.folder().listConnectionString(1));
        if (list.number(u"select count(*) from sqlite_master where name='email'"_s) > 0)
            QCOMPARE(verifyList(list), QStringList());
    }
    QString account() const
    {
        Connection list(folder.folder().listConnectionString(1));
        const Account all = accountOf(list, list.number(u"select max(series) from series"_s));
        return u"%1: %2 sent, %3 failed, %4 in doubt, %5 unsent, %6 removed"_s.arg(all.selected)
            .arg(all.sent)
            .arg(all.failed)
            .arg(all.inDoubt)
            .arg(all.unsent)
            .arg(all.removed);
    }
    Result start(bool failedOnly = false) { return start(row(), failedOnly); }
    void pauseAt(const QString &recipient)
    {
        mail.whileSending = [this, recipient](const QString &current) {
            if (current == recipient)
                run.requestPause();
        };
    }

    QString stored() const
    {
        return folder.row("select progress, total, unsent, success, failure, last_mid from mjob");
    }
    QStringList outcomes() const
    {
        return folder.rows("select mid || status || coalesce(remark, '') from email", 1);
    }
    /// Of the last start.
    QString recipients() const
    {
        QStringList result;
        for (const FakeSendMail::Message &message : mail.sent)
            result += message.recipient;
        return result.join(u' ');
    }
    QString log(const char *day) const
    {
        return QString::fromUtf8(
            readFile(folder.file(u"log\\log2611%1.txt"_s.arg(QLatin1String(day)))));
    }

    TestFolder folder;
    FakeSendMail mail;
    FakeSettings settings;
    ScriptedOperator op;
    RecordingView view;
    FakeClock clock;
    CountingYield yield;
    SendRun run{folder.folder(), mail, settings, op, view, clock, yield, {.show = 0ms}};
};
