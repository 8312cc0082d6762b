#pragma once

#include "progressbar.h"

#include "operator.h"
#include "runview.h"
#include "yield.h"

#include <functional>

/// Results go to standard output, everything else to standard error.
void printResult(const QString &text);
void printMessage(const QString &text);
/// To standard error as it is, without a line end.
void printRaw(const QString &text);

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

/// A bar with counts, rate and time left on a terminal; elsewhere a line about every 100 recipients
/// and at the end of a pass.
class ConsoleView final : public RunView
{
public:
    explicit ConsoleView(ProgressBar &bar)
        : m_bar(bar)
    {
    }

    void beginPass(const JobRow &) override { m_bar.start(); }
    void showProgress(const RunProgress &progress) override;
    void noteFailure(const QString &, const QString &) override {}
    void endPass(const JobRow &, bool) override { m_bar.start(); }
    void showRow(const JobRow &) override {}
    void openOptions() override;

private:
    ProgressBar &m_bar;
    qint64 m_told = 0; ///< the recipients handled when a line last said how many
};

/// Turns SIGINT and SIGTERM into a call of `pause` at the next yield. A second signal of the kind
/// ends the program at once.
class SignalYield final : public Yield
{
public:
    SignalYield();
    void yield() override;
    void onSignal(std::function<void()> pause) { m_pause = std::move(pause); }

private:
    EventLoopYield m_events;
    std::function<void()> m_pause;
};
