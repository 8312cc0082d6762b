#include "statuspanels.h"

#include "plaintooltip.h"
#include "statuspanel.h"

#include <QLabel>
#include <QStatusBar>

StatusPanels::StatusPanels(QStatusBar &bar)
{
    // The panels that name servers, addresses and outcomes share what the counts leave.
    constexpr std::array<int, count> stretch = {1, 4, 4, 2, 1, 1, 1};
    for (size_t i = 0; i < m_labels.size(); ++i) {
        QLabel *label = addStatusPanel(bar, stretch[i]);
        label->setSizePolicy(stretch[i] > 1 ? QSizePolicy::Ignored : QSizePolicy::Preferred,
                             QSizePolicy::Preferred);
        m_labels[i] = label;
    }
}

void StatusPanels::setText(int panel, const QString &text)
{
    QLabel *label = m_labels[size_t(panel - 1)];
    label->setText(text);
    label->setToolTip(plainToolTip(text));
}
