#include "buttondialog.h"

#include <QApplication>

ButtonDialog::ButtonDialog(QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint)
{
}

void ButtonDialog::reject()
{
    if (m_programEnds)
        QDialog::reject();
}

void ButtonDialog::showEvent(QShowEvent *event)
{
    m_programEnds = false;
    qApp->installEventFilter(this);
    QDialog::showEvent(event);
}

void ButtonDialog::hideEvent(QHideEvent *event)
{
    qApp->removeEventFilter(this);
    QDialog::hideEvent(event);
}

/// A program that is told to end (the desktop's session closes) closes its windows one by one, and
/// stays when one of them refuses.
bool ButtonDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::Quit)
        m_programEnds = true;
    return QDialog::eventFilter(watched, event);
}
