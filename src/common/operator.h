#pragma once

#include <QString>

/// The person at the screen, as an operation sees them: told something, or asked something.
///
/// Windows answer with message boxes, the console with its terminal, tests with a script.
class Operator
{
public:
    virtual ~Operator() = default;
    /// Shows `text` with an OK button; returns when it was read. An empty title is the program's.
    virtual void tell(const QString &text, const QString &title = {}) = 0;
    /// Asks a question with Yes and No buttons; true for Yes.
    virtual bool ask(const QString &text, const QString &title = {}) = 0;
    /// Asks for a password; empty when nothing was typed or the question was cancelled.
    virtual QString inputPassword(const QString &prompt, const QString &title) = 0;
};
