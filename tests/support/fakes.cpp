#include "fakes.h"

#include <QTest>

using namespace Qt::StringLiterals;

void FakeSendMail::Send()
{
    calls += u"Send"_s;
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
        QTest::qFail(qPrintable(u"Nobody expects the question: "_s + question), __FILE__, __LINE__);
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
    told += title + u'|' + text;
}

void ScriptedOperator::warn(const QString &text, const QString &title)
{
    tell(text, title);
    warned += told.last();
}

bool ScriptedOperator::ask(const QString &text, const QString &title)
{
    asked += title + u'|' + text;
    return take(answers, text);
}

int ScriptedOperator::choose(const QString &text, const QString &title, const QStringList &buttons,
                             int preset)
{
    QStringList shown = buttons;
    shown[preset] += u'*';
    asked += QStringList{title, text, shown.join(u'|')}.join(u'|');
    return int(buttons.indexOf(take(choices, text)));
}

QString ScriptedOperator::inputPassword(const QString &prompt, const QString &title)
{
    asked += title + u'|' + prompt;
    if (whileAsked)
        whileAsked();
    return take(passwords, prompt);
}

QStringList RecordingView::shown() const
{
    static const auto phases = u"Connecting Sending Waiting WaitingForList Ended"_s.split(u' ');
    const auto counts = [](const auto &each) {
        return u" %1-%2"_s.arg(each.succeeded).arg(each.failed);
    };
    QStringList lines;
    for (const RunProgress &each : progress)
        lines += u"%1 %2 %3%"_s.arg(phases[int(each.phase)], each.address).arg(each.percent()) +
                 counts(each.pass) + counts(each.whole);
    return lines;
}

QString ScriptedOperator::openFile(const QString &title, const QString &filter,
                                   const QString &folder)
{
    asked += QStringList{title, filter, folder}.join(u'|');
    return take(files, title);
}
