#pragma once

#include <QString>

#include <array>

class QLabel;
class QStatusBar;

/// The seven panels of the main window's status bar, numbered from 1.
class StatusPanels
{
public:
    static constexpr int count = 7;
    /// The panel of the transport's status. The preview's position is in RunView::Current, and the
    /// others are the run's.
    static constexpr int transport = 2;

    explicit StatusPanels(QStatusBar &bar);
    void setText(int panel, const QString &text);

private:
    std::array<QLabel *, count> m_labels;
};
