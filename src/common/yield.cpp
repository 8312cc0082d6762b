#include "yield.h"

#include <QCoreApplication>

void EventLoopYield::yield()
{
    QCoreApplication::processEvents();
}
