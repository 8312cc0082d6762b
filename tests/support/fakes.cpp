#include "fakes.h"

#include <QTest>

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
    if (!answers.empty() || !choices.empty() || !passwords.empty() || !files.empty())
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

int ScriptedOperator::choose(const QString &text, const QString &title, const QStringList &buttons,
                             int preset)
{
    QStringList shown = buttons;
    shown[preset] += QLatin1Char('*');
    asked += QStringList{title, text, shown.join(QLatin1Char('|'))}.join(QLatin1Char('|'));
    return int(buttons.indexOf(take(choices, text)));
}

QString ScriptedOperator::inputPassword(const QString &prompt, const QString &title)
{
    asked += title + QLatin1Char('|') + prompt;
    if (whileAsked)
        whileAsked();
    return take(passwords, prompt);
}

QStringList RecordingView::shown() const
{
    static const QStringList phases = {QStringLiteral("Connecting"), QStringLiteral("Sending"),
                                       QStringLiteral("Waiting"), QStringLiteral("WaitingForList"),
                                       QStringLiteral("Ended")};
    QStringList lines;
    for (const RunProgress &each : progress)
        lines += QStringLiteral("%1 %2 %3% %4-%5 %6-%7")
                     .arg(phases[int(each.phase)], each.address)
                     .arg(each.percent())
                     .arg(each.pass.succeeded)
                     .arg(each.pass.failed)
                     .arg(each.whole.succeeded)
                     .arg(each.whole.failed);
    return lines;
}

QString ScriptedOperator::openFile(const QString &title, const QString &filter,
                                   const QString &folder)
{
    asked += QStringList{title, filter, folder}.join(QLatin1Char('|'));
    return take(files, title);
}
