#pragma once

#include <QString>

#include <array>

class QLabel;
class QStatusBar;

/// The seven panels of the main window's status bar, numbered from 1.
class StatusPanels
{
public:
    enum Number { Jobs = 1, Transport = 2, Current = 3, LastStatus = 4, Sent = 5, Failed = 7 };
    static constexpr int count = 7;

    explicit StatusPanels(QStatusBar &bar);
    void setText(int panel, const QString &text);

private:
    std::array<QLabel *, count> m_labels;
};
