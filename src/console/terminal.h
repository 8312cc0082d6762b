#pragma once

#include "progressbar.h"

#include "operator.h"
#include "runview.h"
#include "yield.h"

#include <QSet>

#include <cstdio>
#include <functional>
#include <utility>

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
    /// Tells the question; who agrees beforehand says so with an option.
    int choose(const QString &text, const QString &title, const QStringList &buttons,
               int preset) override;
    /// Nothing in the console asks for a password or a file: they are in its options.
    QString inputPassword(const QString &, const QString &) override { return {}; }
    QString openFile(const QString &, const QString &, const QString &) override { return {}; }
    QString saveFile(const QString &, const QString &, const QString &) override { return {}; }

private:
    ProgressBar &m_bar;
    int m_yesLeft;
};

/// Where the operator enters what a run or a test send lacks.
void tellSettings();

/// A bar with counts, rate and time left on a terminal; elsewhere a line every 100 recipients. Of
/// the failures, the first of each kind is told.
class ConsoleView final : public RunView
{
public:
    explicit ConsoleView(ProgressBar &bar)
        : m_bar(bar)
    {
    }

    void beginPass(const JobRow &) override;
    void showProgress(const RunProgress &progress) override;
    void noteFailure(const QString &address, const QString &reason) override;
    void endPass(const JobRow &, bool) override { m_bar.start(); }
    void showRow(const JobRow &) override {}
    void openOptions() override { tellSettings(); }

private:
    void tellWait(const RunProgress &progress);

    ProgressBar &m_bar;
    QString m_wait;              ///< what was told last of why the run waits
    bool m_isConnecting = false; ///< and that is not told yet
    qint64 m_told = 0;           ///< the recipients handled when a line last said how many
    QString m_waitingFor;        ///< whose outcome cannot be recorded, as was told
    QSet<QString> m_kinds;       ///< of reasons that were told
};

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
