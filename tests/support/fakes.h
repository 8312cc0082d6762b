#pragma once

#include "clock.h"
#include "jobrow.h"
#include "operator.h"
#include "runview.h"
#include "sendmail.h"
#include "settings.h"
#include "yield.h"

#include <QStringList>

#include <functional>
#include <queue>

/// Sends nothing: every Send has the scripted outcome and is noted.
class FakeSendMail final : public SendMail
{
    Q_OBJECT

public:
    struct Message {
        QString recipient, subject, body;
    };

    bool Connect() override
    {
        calls += QStringLiteral("Connect");
        return true;
    }
    void Send() override;
    void Disconnect() override { calls += QStringLiteral("Disconnect"); }

    /// The explanation of each recipient's failure; a recipient that is not in it is sent to.
    QHash<QString, QString> failures;
    /// Called in the middle of a Send.
    std::function<void(const QString &recipient)> whileSending;

    QList<Message> sent; ///< what Send was called for, failed or not
    QStringList calls;   ///< "Connect", "Send", "Disconnect" in order
};

/// Answers from a script and notes everything; a question that is not in the script fails the test.
class ScriptedOperator final : public Operator
{
public:
    ~ScriptedOperator() override;

    void tell(const QString &text, const QString &title) override;
    void warn(const QString &text, const QString &title) override;
    bool ask(const QString &text, const QString &title) override;
    int choose(const QString &text, const QString &title, const QStringList &buttons,
               int preset) override;
    QString inputPassword(const QString &prompt, const QString &title) override;
    QString openFile(const QString &title, const QString &filter, const QString &folder) override;
    QString saveFile(const QString &title, const QString &filter, const QString &folder) override
    {
        return openFile(title, filter, folder);
    }

    std::queue<bool> answers;
    std::queue<QString> choices; ///< the texts of the buttons to press
    std::queue<QString> passwords;
    std::queue<QString> files;        ///< chosen in file dialogs; empty for Cancel
    std::function<void()> whileAsked; ///< while a password is asked for
    QStringList told;                 ///< "title|text" of messages
    QStringList warned;               ///< those of them with an exclamation mark
    /// The same of questions, with "|button" for each button that is named in the question, "*"
    /// after the default one; "title|filter|folder" of file dialogs.
    QStringList asked;
};

/// Stands still until it is set or waited on; waits take no time.
class FakeClock final : public Clock
{
public:
    QDateTime now() const override { return time; }
    void wait(std::chrono::milliseconds duration, Yield &yield) override
    {
        waits += duration;
        yield.yield();
    }

    QDateTime time = QDateTime(QDate(2026, 11, 16), QTime(14, 5, 9));
    QList<std::chrono::milliseconds> waits;
};

/// Counts, and runs an action at one of the calls, or at each of them.
class CountingYield final : public Yield
{
public:
    void yield() override
    {
        ++count;
        if (action && (actAt == 0 || count == actAt))
            action();
    }

    int count = 0;
    int actAt = 0;
    std::function<void()> action;
};

struct FakeSettings final : LiveSettings {
    Settings current() const override { return values; }
    Settings values;
};

/// Notes what a run shows.
class RecordingView final : public RunView
{
public:
    void beginPass(const JobRow &) override { running += true; }
    void showProgress(const RunProgress &shown) override { progress += shown; }
    void noteFailure(const QString &address, const QString &reason) override
    {
        failures += address + QLatin1Char('|') + reason;
    }
    void endPass(const JobRow &shown, bool) override
    {
        row = shown;
        running += false;
    }
    void showRow(const JobRow &shown) override { row = shown; }
    void openOptions() override { ++optionsOpened; }

    /// Of each progress the phase, the recipient, the bar, and the succeeded and failed of the pass
    /// and of the whole run.
    QStringList shown() const;

    JobRow row;
    QList<RunProgress> progress;
    QStringList failures; ///< "address|reason"
    QList<bool> running;
    int optionsOpened = 0;
};
