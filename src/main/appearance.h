#pragma once

/// Gives the application its icon, and the icons of its commands: the desktop theme's where it has
/// them, those the program stands on elsewhere.
void setUpAppearance();
