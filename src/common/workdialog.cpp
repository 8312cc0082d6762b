#include "workdialog.h"

#include "waitpointer.h"

WorkDialog::WorkDialog(QWidget *parent)
    : QDialog(parent)
{
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
