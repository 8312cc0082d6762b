#pragma once

#include <QStringList>

/// The person at the screen, as an operation sees them: told something, or asked something.
///
/// Windows answer with message boxes, the console with its terminal, tests with a script.
class Operator
{
public:
    virtual ~Operator() = default;
    /// Shows `text` with an OK button; returns when it was read. An empty title is the program's.
    virtual void tell(const QString &text, const QString &title = {}) = 0;
    /// The same with an exclamation mark, for what could not be done.
    virtual void warn(const QString &text, const QString &title) { tell(text, title); }
    /// Asks a question with Yes and No buttons; true for Yes. No is the default: what is asked
    /// destroys something, or mails people, and Return may be on its way to something else.
    virtual bool ask(const QString &text, const QString &title = {}) = 0;
    /// Asks a question that has these buttons. Return presses the one at `preset`; Escape and the
    /// close box press the last one. The position of the button that was pressed. Whoever cannot be
    /// asked has pressed the last one.
    virtual int choose(const QString &text, const QString &title, const QStringList &buttons,
                       int preset)
    {
        Q_UNUSED(text)
        Q_UNUSED(title)
        Q_UNUSED(preset)
        return int(buttons.size()) - 1;
    }
    /// Asks for a password; empty when nothing was typed or the question was cancelled.
    virtual QString inputPassword(const QString &prompt, const QString &title) = 0;

    /// Asks for a file that exists; its full path, or empty when the question was cancelled.
    /// `filter`: what is shown and the patterns it stands for, in turn, with "|" between them
    /// ("Text (*.txt;*.csv)|*.txt;*.csv"). `folder`: where to look first, empty for where the last
    /// one was.
    virtual QString openFile(const QString &title, const QString &filter,
                             const QString &folder = {}) = 0;
    /// Asks for the name of a file to write, and whether to replace one that is there.
    virtual QString saveFile(const QString &title, const QString &filter,
                             const QString &folder = {}) = 0;
};
