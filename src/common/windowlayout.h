#pragma once

#include <QByteArray>

class QWidget;

/// Size and place of a window, from one run of the program to the next. The window's object name
/// tells whose they are.
void restoreWindowLayout(QWidget &window);
void saveWindowLayout(const QWidget &window);

/// The columns of the window's list or grid, as it describes them itself.
QByteArray savedColumns(const QWidget &window);
void saveColumns(const QWidget &window, const QByteArray &columns);

/// The window with the columns of its list or grid.
template <typename List>
void restoreWindowLayout(QWidget &window, List &list)
{
    restoreWindowLayout(window);
    list.restoreColumns(savedColumns(window));
}

template <typename List>
void saveWindowLayout(const QWidget &window, const List &list)
{
    saveWindowLayout(window);
    saveColumns(window, list.saveColumns());
}
