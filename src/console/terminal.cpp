#include "terminal.h"

#include "jobrow.h"

#include <QTextStream>

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace
{

/// Slow enough for a slow terminal, fast enough to look alive.
constexpr qint64 redrawMs = 100;
constexpr int linesEvery = 100;

volatile std::sig_atomic_t signalled = 0;

void print(std::FILE *file, const QString &text)
{
    QTextStream(file) << text;
}

/// Message texts are made for message boxes and may break lines as those do.
QString withLineFeeds(QString text)
{
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"))
        .replace(QLatin1Char('\r'), QLatin1Char('\n'));
}

QString duration(qint64 seconds)
{
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

void printResult(const QString &text)
{
    print(stdout, text + QLatin1Char('\n'));
}

void printMessage(const QString &text)
{
    print(stderr, withLineFeeds(text) + QLatin1Char('\n'));
}

void ConsoleOperator::tell(const QString &text, const QString &)
{
    printMessage(text);
}

bool ConsoleOperator::ask(const QString &text, const QString &)
{
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

ConsoleView::ConsoleView()
    : m_terminal(isatty(STDERR_FILENO))
{
}

void ConsoleView::showRow(const JobRow &) {}

void ConsoleView::showPanel(Panel panel, const QString &text)
{
    const auto count = [&text] { return text.section(QLatin1Char(':'), 1).toInt(); };
    if (panel == Sent) {
        m_handled = count();
    } else if (panel == Failed) {
        m_failed = count();
        draw();
    } else if (panel == Current && !text.isEmpty() && m_handled == 0 && !m_terminal &&
               !text.startsWith(QLatin1Char(' '))) {
        printMessage(text.trimmed());
    }
}

void ConsoleView::showProgress(float percent)
{
    m_percent = percent;
}

void ConsoleView::setRunning(bool running)
{
    clearBar();
    m_elapsed.start();
    m_lastDrawn = 0;
    m_percent = 0;
    if (running)
        m_handled = m_failed = 0;
}

void ConsoleView::openOptions()
{
    printMessage(QStringLiteral("The settings are in the file Quillbright/Quillbright.conf of the "
                                "configuration folder (~/.config); SMTP=host names the server."));
}

void ConsoleView::draw()
{
    const qint64 elapsed = m_elapsed.elapsed();
    const double rate = elapsed > 0 ? 1000.0 * m_handled / double(elapsed) : 0;
    if (!m_terminal) {
        if (m_handled % linesEvery == 0)
            printMessage(QStringLiteral("%1 sent, %2 failed, %3/s")
                             .arg(m_handled - m_failed)
                             .arg(m_failed)
                             .arg(rate, 0, 'f', 1));
        return;
    }
    if (m_barVisible && elapsed - m_lastDrawn < redrawMs)
        return;
    m_lastDrawn = elapsed;
    m_barVisible = true;
    constexpr int width = 30;
    const int full = int(m_percent) * width / 100;
    const qint64 left =
        m_percent > 0 ? qint64(double(elapsed) * (100 / double(m_percent) - 1) / 1000) : 0;
    print(stderr, QStringLiteral("\r[%1%2] %3 sent, %4 failed, %5/s, %6 left \033[K")
                      .arg(QString(full, QLatin1Char('#')), QString(width - full, QLatin1Char('.')))
                      .arg(m_handled - m_failed)
                      .arg(m_failed)
                      .arg(rate, 0, 'f', 1)
                      .arg(duration(left)));
}

void ConsoleView::clearBar()
{
    if (m_barVisible)
        print(stderr, QStringLiteral("\r\033[K"));
    m_barVisible = false;
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
