#include "toolbarkeys.h"

#include <QToolBar>
#include <QToolButton>

void letTabReachButtons(const QToolBar &toolbar)
{
    for (QToolButton *button : toolbar.findChildren<QToolButton *>())
        button->setFocusPolicy(Qt::TabFocus);
}
