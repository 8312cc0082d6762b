#include "fakes.h"

#include <QTest>

bool FakeSendMail::Connect()
{
    calls += QStringLiteral("Connect");
    return true;
}

void FakeSendMail::Send()
{
    calls += QStringLiteral("Send");
    sent.append({Recipient, Subject, Body});
    if (whileSending)
        whileSending(Recipient);
    if (failures.contains(Recipient))
        emit SendFailed(failures.value(Recipient));
    else
        emit SendSuccesful();
}

void FakeSendMail::Disconnect()
{
    calls += QStringLiteral("Disconnect");
}

namespace
{

/// The next answer of a script; a question that has none fails the test.
template <typename T>
T take(std::queue<T> &answers, const QString &question)
{
    if (answers.empty()) {
        QTest::qFail(qPrintable(QStringLiteral("Nobody expects the question: ") + question),
                     __FILE__, __LINE__);
        return {};
    }
    const T answer = answers.front();
    answers.pop();
    return answer;
}

} // namespace

ScriptedOperator::~ScriptedOperator()
{
    if (!answers.empty() || !passwords.empty() || !files.empty())
        QTest::qFail("A scripted answer was never asked for", __FILE__, __LINE__);
}

void ScriptedOperator::tell(const QString &text, const QString &title)
{
    told += title + QLatin1Char('|') + text;
}

void ScriptedOperator::warn(const QString &text, const QString &title)
{
    tell(text, title);
    warned += told.last();
}

bool ScriptedOperator::ask(const QString &text, const QString &title)
{
    asked += title + QLatin1Char('|') + text;
    return take(answers, text);
}

QString ScriptedOperator::inputPassword(const QString &prompt, const QString &title)
{
    asked += title + QLatin1Char('|') + prompt;
    return take(passwords, prompt);
}

QString ScriptedOperator::openFile(const QString &title, const QString &filter,
                                   const QString &folder)
{
    asked += QStringList{title, filter, folder}.join(QLatin1Char('|'));
    return take(files, title);
}

QString ScriptedOperator::saveFile(const QString &title, const QString &filter,
                                   const QString &folder)
{
    return openFile(title, filter, folder);
}

void FakeClock::wait(std::chrono::milliseconds duration, Yield &yield)
{
    waits += duration;
    yield.yield();
}

void CountingYield::yield()
{
    if (++count == actAt && action)
        action();
}

void RecordingView::showRow(const JobRow &shown)
{
    row = shown;
}

void RecordingView::showPanel(Panel panel, const QString &text)
{
    panels[panel] += text;
}

void RecordingView::showProgress(float percent)
{
    progress += percent;
}

void RecordingView::setRunning(bool isRunning)
{
    running += isRunning;
}

void RecordingView::highlightRow(const JobRow &, bool)
{
    ++highlights;
}
