#include "buttondialog.h"

ButtonDialog::ButtonDialog(QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint)
{
}

void ButtonDialog::reject()
{
    if (m_quit.isMade())
        QDialog::reject();
}

void ButtonDialog::showEvent(QShowEvent *event)
{
    m_quit.watch();
    QDialog::showEvent(event);
}

void ButtonDialog::hideEvent(QHideEvent *event)
{
    m_quit.unwatch();
    QDialog::hideEvent(event);
}
