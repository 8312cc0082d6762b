#include "quitrequest.h"

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
