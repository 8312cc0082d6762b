#include "terminal.h"

#include "settingsstore.h"

#include <QStringList>

#include <csignal>
#include <iostream>

#include <poll.h>
#include <unistd.h>

namespace
{

constexpr int linesEvery = 100;

volatile std::sig_atomic_t signalled = 0;

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

void print(std::FILE *file, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), file);
}

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
    for (;;) {
        print(stderr, withLineFeeds(text) + QStringLiteral(" [y/n] "));
        // Unlike a read, which goes on, the wait for input ends with a signal.
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (!signalled && ::poll(&input, 1, -1) < 0) {
        }
        std::string answer;
        if (signalled || !std::getline(std::cin, answer))
            return false;
        if (answer.starts_with('y') || answer.starts_with('Y'))
            return true;
        if (answer.starts_with('n') || answer.starts_with('N'))
            return false;
    }
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
    } else if (panel == Current && !text.isEmpty() && m_handled == 0 && !m_bar.isOnTerminal() &&
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
    m_bar.start();
    m_percent = 0;
    if (running)
        m_handled = m_failed = 0;
}

void ConsoleView::draw()
{
    const QString counts =
        QStringLiteral("%1 sent, %2 failed").arg(m_handled - m_failed).arg(m_failed);
    if (!m_bar.isOnTerminal() && m_handled % linesEvery == 0)
        printMessage(counts + QStringLiteral(", ") + m_bar.rate(m_handled));
    m_bar.show(double(m_percent) / 100, m_handled, counts);
}

void tellSettings()
{
    printMessage(QStringLiteral("The settings are in %1; the line SMTP=host names the server.")
                     .arg(SettingsStore::location()));
}

SignalYield::SignalYield(ProgressBar &bar)
    : m_bar(bar)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = [](int) { signalled = 1; };
        action.sa_flags = SA_RESTART | (number == SIGHUP ? 0 : int(SA_RESETHAND));
        sigaction(number, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

void SignalYield::onSignal(const QString &notice, std::function<void()> stop)
{
    m_notice = notice;
    m_stop = std::move(stop);
}

void SignalYield::yield()
{
    m_events.yield();
    if (!signalled || !m_stop)
        return;
    m_bar.clear();
    if (!m_notice.isEmpty())
        printMessage(std::exchange(m_notice, {}));
    m_stop();
}
