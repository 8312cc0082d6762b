#include "terminal.h"

#include "settingsstore.h"

#include <QStringList>
#include <QTextStream>

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace
{

constexpr int linesEvery = 100;

volatile std::sig_atomic_t signalled = 0;

void print(std::FILE *file, const QString &text)
{
    QTextStream(file) << text;
}

/// Message texts are made for message boxes and may break lines as those do; names and replies in
/// them may hold what a terminal would obey.
QString withLineFeeds(QString text)
{
    QStringList lines = text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"))
                            .replace(QLatin1Char('\r'), QLatin1Char('\n'))
                            .split(QLatin1Char('\n'));
    for (QString &line : lines)
        line = withoutControls(line);
    return lines.join(QLatin1Char('\n'));
}

} // namespace

QString withoutControls(QString text)
{
    for (QChar &c : text) {
        if (c.category() == QChar::Other_Control && c != QLatin1Char('\t'))
            c = QLatin1Char(' ');
    }
    return text;
}

void printResult(const QString &text)
{
    print(stdout, text + QLatin1Char('\n'));
}

void printMessage(const QString &text)
{
    print(stderr, withLineFeeds(text) + QLatin1Char('\n'));
}

void printRaw(const QString &text)
{
    print(stderr, text);
}

void ConsoleOperator::tell(const QString &text, const QString &)
{
    m_bar.clear();
    printMessage(text);
}

bool ConsoleOperator::ask(const QString &text, const QString &)
{
    m_bar.clear();
    if (!isatty(STDIN_FILENO)) {
        const bool yes = m_yesLeft-- > 0;
        printMessage(text + (yes ? QStringLiteral(" Yes") : QStringLiteral(" No")));
        return yes;
    }
    QTextStream input(stdin);
    for (;;) {
        print(stderr, withLineFeeds(text) + QStringLiteral(" [y/n] "));
        const QString answer = input.readLine();
        if (answer.isNull()) // end of input
            return false;
        if (answer.startsWith(QLatin1Char('y'), Qt::CaseInsensitive))
            return true;
        if (answer.startsWith(QLatin1Char('n'), Qt::CaseInsensitive))
            return false;
    }
}

void ConsoleView::showProgress(const RunProgress &progress)
{
    using Phase = RunProgress::Phase;
    const RunProgress::Count &count = progress.pass;
    const QString counts =
        QStringLiteral("%1 sent, %2 failed").arg(count.succeeded).arg(count.failed);
    if (m_bar.isOnTerminal()) {
        m_bar.show(progress.percent() / 100, count.sent(), counts);
    } else if (progress.phase == Phase::Connecting) {
        m_told = 0;
        printMessage((progress.rerun == 0 ? QStringLiteral("Connecting to ")
                                          : QStringLiteral("Resend fail emails, connecting to ")) +
                     progress.server + QStringLiteral(" ..."));
    } else if (count.sent() >= m_told + linesEvery ||
               (progress.phase == Phase::Ended && count.sent() > m_told)) {
        m_told = count.sent();
        printMessage(counts + QStringLiteral(", ") + m_bar.rate(m_told));
    }
}

void ConsoleView::openOptions()
{
    printMessage(QStringLiteral("The settings are in %1; the line SMTP=host names the server.")
                     .arg(SettingsStore::location()));
}

SignalYield::SignalYield()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { signalled = 1; };
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void SignalYield::yield()
{
    m_events.yield();
    if (signalled && m_pause)
        m_pause();
}
