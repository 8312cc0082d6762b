#pragma once

#include "progressbar.h"

#include "operator.h"
#include "runview.h"
#include "yield.h"

#include <cstdio>
#include <functional>

/// Results go to standard output, everything else to standard error.
void printResult(const QString &text);
void printMessage(const QString &text);
/// As it is, without a line end.
void print(std::FILE *file, const QString &text);

/// Names are printed on one line, whatever they hold: control characters but the tab, which a
/// terminal would obey, become blanks.
QString withoutControls(QString text);

/// Asks on a terminal; elsewhere answers Yes a fixed number of times and then No.
class ConsoleOperator final : public Operator
{
public:
    /// `bar` makes room for what is said.
    ConsoleOperator(int yesAnswers, ProgressBar &bar)
        : m_bar(bar)
        , m_yesLeft(yesAnswers)
    {
    }

    void tell(const QString &text, const QString &title) override;
    bool ask(const QString &text, const QString &title) override;
    /// Nothing in the console asks for a password or a file: they are in its options.
    QString inputPassword(const QString &, const QString &) override { return {}; }
    QString openFile(const QString &, const QString &, const QString &) override { return {}; }
    QString saveFile(const QString &, const QString &, const QString &) override { return {}; }

private:
    ProgressBar &m_bar;
    int m_yesLeft;
};

/// A bar with counts, rate and time left on a terminal; elsewhere a line every 100 recipients.
class ConsoleView final : public RunView
{
public:
    explicit ConsoleView(ProgressBar &bar)
        : m_bar(bar)
    {
    }

    void showRow(const JobRow &row) override;
    void showPanel(Panel panel, const QString &text) override;
    void showProgress(float percent) override;
    void showWaiting(bool) override {}
    void setRunning(bool running) override;
    void highlightRow(const JobRow &, bool) override {}
    void openOptions() override { tellSettings(); }

private:
    void draw();

    ProgressBar &m_bar;
    float m_percent = 0;
    int m_handled = 0;
    int m_failed = 0;
};

/// Where the operator enters what a run or a test send lacks.
void tellSettings();

/// Turns SIGINT, SIGTERM and SIGHUP into a call at the next yield. A second SIGINT or SIGTERM ends
/// the program at once; a terminal that closes may say so more than once, and writing to it then
/// ends nothing. A signal that whoever started the program ignores stays ignored.
class SignalYield final : public Yield
{
public:
    /// `bar` makes room for what is said.
    explicit SignalYield(ProgressBar &bar);
    void yield() override;
    /// `notice` is printed at the first signal.
    void onSignal(const QString &notice, std::function<void()> stop);

private:
    EventLoopYield m_events;
    ProgressBar &m_bar;
    QString m_notice;
    std::function<void()> m_stop;
};
