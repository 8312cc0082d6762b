#include "dialogs.h"

#include "waitpointer.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

void QuitRequest::watch()
{
    m_isMade = false;
    qApp->installEventFilter(this); // once, however often it is asked for
}

void QuitRequest::unwatch()
{
    qApp->removeEventFilter(this);
}

void QuitRequest::repeat()
{
    if (std::exchange(m_isMade, false))
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
}

bool QuitRequest::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::Quit)
        m_isMade = true;
    return QObject::eventFilter(watched, event);
}

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

void WorkDialog::reject()
{
    if (!m_isWorking)
        return QDialog::reject();
    m_isLeft = true;
    abortWork();
}

void WorkDialog::setWorking(bool isWorking)
{
    m_isWorking = isWorking;
    showWaiting(*this, isWorking);
    if (isWorking) {
        m_isLeft = false;
        m_quit.watch();
        return;
    }
    m_quit.unwatch();
    if (m_isLeft && isVisible()) {
        QDialog::reject();
        m_quit.repeat();
    }
}
