#include "terminal.h"

#include "settingsstore.h"

#include <QRegularExpression>
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
    if (!m_bar.isOnTerminal() || !isatty(STDIN_FILENO)) {
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
        if (signalled || !std::getline(std::cin, answer)) {
            print(stderr, QStringLiteral("\n"));
            return false;
        }
        if (answer.starts_with('y') || answer.starts_with('Y'))
            return true;
        if (answer.starts_with('n') || answer.starts_with('N'))
            return false;
    }
}

int ConsoleOperator::choose(const QString &text, const QString &title, const QStringList &buttons,
                            int)
{
    tell(text + QLatin1Char(' ') + buttons.last(), title);
    return int(buttons.size()) - 1;
}

void ConsoleView::beginPass(const JobRow &)
{
    m_bar.start();
    m_isConnecting = true;
    m_told = 0;
}

void ConsoleView::showProgress(const RunProgress &progress)
{
    if (!progress.server.isEmpty() && std::exchange(m_isConnecting, false))
        printMessage((progress.rerun == 0 ? QStringLiteral("Connecting to ")
                                          : QStringLiteral("Resend fail emails, connecting to ")) +
                     progress.server + QStringLiteral(" ..."));
    if (progress.phase == RunProgress::Phase::WaitingForList &&
        std::exchange(m_waitingFor, progress.address) != progress.address) {
        m_bar.clear();
        printMessage(QStringLiteral("What became of %1 cannot be recorded yet; trying again ...")
                         .arg(progress.address));
    }
    tellWait(progress);
    const qint64 handled = progress.pass.sent();
    QString counts = QStringLiteral("%1 of %2, %3 failed")
                         .arg(handled)
                         .arg(progress.toHandle)
                         .arg(progress.pass.failed);
    if (progress.pass.inDoubt > 0)
        counts += QStringLiteral(", %1 in doubt").arg(progress.pass.inDoubt);
    const bool isOver = progress.phase == RunProgress::Phase::Ended;
    if (!m_bar.isOnTerminal() && handled >= m_told + (isOver ? 1 : linesEvery)) {
        m_told = handled;
        printMessage(counts + QStringLiteral(", ") + m_bar.rate(handled));
    }
    const qint64 left = progress.expectedEnd.isValid()
                            ? QDateTime::currentDateTime().secsTo(progress.expectedEnd)
                            : -1;
    m_bar.show(double(handled) / double(std::max<qint64>(progress.toHandle, 1)), handled, counts,
               left);
}

/// Each wait once.
void ConsoleView::tellWait(const RunProgress &progress)
{
    QString text;
    if (progress.phase == RunProgress::Phase::WaitingForServer)
        text = QStringLiteral("The server takes nothing; tried again at %1: %2")
                   .arg(progress.until.toString(QStringLiteral("HH:mm:ss")), progress.trouble);
    else if (progress.phase == RunProgress::Phase::WaitingForLimit)
        text =
            QStringLiteral("The limit is reached; goes on at %1").arg(pointInTime(progress.until));
    else if (progress.phase == RunProgress::Phase::WaitingToRerun)
        text =
            QStringLiteral("The failures are tried again at %1").arg(pointInTime(progress.until));
    if (std::exchange(m_wait, text) == text || text.isEmpty())
        return;
    m_bar.clear();
    printMessage(text);
}

void ConsoleView::noteFailure(const QString &address, const QString &reason)
{
    // Whom a reply is about, and its numbers, do not make it another kind; its code does.
    static const QRegularExpression particulars(
        QStringLiteral("(?<!\\S)(?!\\d{3}\\s)\\S*[@\\d]\\S*"));
    const QString kind = QString(reason).remove(particulars);
    if (m_kinds.contains(kind))
        return;
    m_kinds.insert(kind);
    m_bar.clear();
    printMessage(QStringLiteral("Failed: %1: %2").arg(address, reason));
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
    if (!m_notice.isEmpty()) {
        m_bar.clear();
        printMessage(std::exchange(m_notice, {}));
    }
    m_stop();
}
