#include "quietoperator.h"

#include "runscreen.h"

void QuietOperator::tell(const QString &text, const QString &title)
{
    if (m_quiet)
        m_screen.setText(RunScreen::Transport, text.simplified());
    else
        m_operator.tell(text, title);
}

void QuietOperator::warn(const QString &text, const QString &title)
{
    if (m_quiet)
        tell(text, title);
    else
        m_operator.warn(text, title);
}

bool QuietOperator::ask(const QString &text, const QString &title)
{
    return !m_quiet && m_operator.ask(text, title);
}

QString QuietOperator::inputPassword(const QString &prompt, const QString &title)
{
    return m_quiet ? QString() : m_operator.inputPassword(prompt, title);
}

QString QuietOperator::openFile(const QString &title, const QString &filter, const QString &folder)
{
    return m_quiet ? QString() : m_operator.openFile(title, filter, folder);
}

QString QuietOperator::saveFile(const QString &title, const QString &filter, const QString &folder)
{
    return m_quiet ? QString() : m_operator.saveFile(title, filter, folder);
}
