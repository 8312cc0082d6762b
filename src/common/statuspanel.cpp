#include "statuspanel.h"

#include <QLabel>
#include <QStatusBar>

QLabel *addStatusPanel(QStatusBar &bar, int stretch)
{
    const qsizetype number = bar.findChildren<QLabel *>().size() + 1;
    auto *panel = new QLabel(&bar);
    panel->setObjectName(QStringLiteral("Panel%1").arg(number));
    panel->setTextFormat(Qt::PlainText);
    panel->setMargin(2);
    bar.addWidget(panel, stretch);
    return panel;
}
