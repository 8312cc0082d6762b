#pragma once

#include "operator.h"

/// Tells and asks with message boxes and file dialogs over the active window.
class MessageBoxOperator final : public Operator
{
public:
    void tell(const QString &text, const QString &title = {}) override;
    void warn(const QString &text, const QString &title) override;
    bool ask(const QString &text, const QString &title = {}) override;
    int choose(const QString &text, const QString &title, const QStringList &buttons,
               int preset) override;
    QString inputPassword(const QString &prompt, const QString &title) override;
    QString openFile(const QString &title, const QString &filter, const QString &folder) override;
    QString saveFile(const QString &title, const QString &filter, const QString &folder) override;
};
