#pragma once

#include "operator.h"

class RunScreen;

/// The operator as the panels reach them: while a job is being sent, a message box would hold up
/// the run until it was read, so what there is to tell goes to the status bar then, and nothing is
/// asked.
class QuietOperator final : public Operator
{
public:
    QuietOperator(Operator &op, RunScreen &screen)
        : m_operator(op)
        , m_screen(screen)
    {
    }

    void setQuiet(bool quiet) { m_quiet = quiet; }

    void tell(const QString &text, const QString &title = {}) override;
    void warn(const QString &text, const QString &title) override;
    bool ask(const QString &text, const QString &title = {}) override;
    QString inputPassword(const QString &prompt, const QString &title) override;
    QString openFile(const QString &title, const QString &filter,
                     const QString &folder = {}) override;
    QString saveFile(const QString &title, const QString &filter,
                     const QString &folder = {}) override;

private:
    Operator &m_operator;
    RunScreen &m_screen;
    bool m_quiet = false;
};
