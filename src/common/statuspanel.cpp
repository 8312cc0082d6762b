#include "statuspanel.h"

#include "elidinglabel.h"

#include <QStatusBar>

QLabel *addStatusPanel(QStatusBar &bar, int stretch)
{
    const qsizetype number = bar.findChildren<QLabel *>().size() + 1;
    auto *panel = new ElidingLabel(&bar);
    panel->setObjectName(QStringLiteral("Panel%1").arg(number));
    panel->setMargin(2);
    bar.addWidget(panel, stretch);
    return panel;
}
