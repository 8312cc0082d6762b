#pragma once

class QLabel;
class QStatusBar;

/// Adds a panel to a window's status bar, at the right of the others; they share its width by
/// their `stretch`. Its object name is "Panel1" for the first one, and so on.
QLabel *addStatusPanel(QStatusBar &bar, int stretch = 1);
