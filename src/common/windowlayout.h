#pragma once

#include <QSettings>
#include <QWidget>

/// Where window places are kept, apart from the settings, which a person may edit by hand.
QSettings layoutStore();

/// Size and place of a window, from one run of the program to the next. The window's object name
/// tells whose they are. A window that has none yet is made to fit the screen.
void restoreWindowLayout(QWidget &window);
void saveWindowLayout(const QWidget &window);

/// The window with the columns of its list or grid, as that describes them itself.
template <typename List>
void restoreWindowLayout(QWidget &window, List &list)
{
    restoreWindowLayout(window);
    list.restoreColumns(
        layoutStore().value(window.objectName() + QStringLiteral("/columns")).toByteArray());
}

template <typename List>
void saveWindowLayout(const QWidget &window, const List &list)
{
    saveWindowLayout(window);
    layoutStore().setValue(window.objectName() + QStringLiteral("/columns"), list.saveColumns());
}
