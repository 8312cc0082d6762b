#pragma once

class QToolBar;

/// Lets Tab reach the buttons of a dialog's toolbar, which it passes over otherwise; the space bar
/// presses them.
void letTabReachButtons(const QToolBar &toolbar);
