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
    /// The transport's status is in the second; the others are the run's, but that the preview's
    /// position is in `current`.
    enum { transport = 2, current, lastStatus, sent, success, failed };

    explicit StatusPanels(QStatusBar &bar);
    void setText(int panel, const QString &text);

private:
    std::array<QLabel *, count> m_labels;
};
