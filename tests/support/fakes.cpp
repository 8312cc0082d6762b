#include "fakes.h"

#include <QTest>

using namespace Qt::StringLiterals;

void FakeSendMail::Send()
{
    using Kind = SendResult::Kind;
    calls += u"Send"_s;
    const QString failure = failures.value(Recipient);
    const QChar digit = failure.isEmpty() ? u'2' : failure[0];
    Result = {};
    Result.explanation = Result.reply = failure;
    Result.code = failure.left(3).toInt();
    Result.maybeForEverybody = failure.contains(u" 5.7."_s) || failure.startsWith(u"530"_s);
    if (failures.contains(Recipient))
        Result.kind = failure == u"no session"_s ? Kind::NoSession
                      : failure == u"lost"_s     ? Kind::SessionLost
                      : failure == u"doubt"_s    ? Kind::InDoubt
                      : digit == u'4'            ? Kind::Deferred
                                                 : Kind::Refused;
    // It is asked when the recipient was accepted, unless the message before has brought it along.
    const bool isAsked = Result.kind == Kind::Sent || Result.kind == Kind::InDoubt;
    if (isAsked && MessageDue && !MessageDue())
        Result = {Kind::NotWanted, u"not wanted"_s, {}, 0, false, false};
    else
        sent.append({Recipient, Subject, Body});
    IsNextDue = !Next.isEmpty() && Result.kind == Kind::Sent && !failures.contains(Next);
    if (whileSending)
        whileSending(Recipient);
    if (Result.kind == Kind::Sent)
        emit SendSuccesful();
    else
        emit SendFailed(Result.explanation);
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
    static const auto phases =
        u"Connecting Sending Waiting WaitingForList WaitingForServer WaitingForLimit "
        "WaitingToRerun Ended"_s.split(u' ');
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
