#pragma once

class SortableList;
class QWidget;

/// Size and place of a window, and the column widths of its list where it has one, from one run of
/// the program to the next. The window's object name tells whose they are.
void restoreWindowLayout(QWidget &window);
void saveWindowLayout(const QWidget &window);
void restoreWindowLayout(QWidget &window, SortableList &list);
void saveWindowLayout(const QWidget &window, const SortableList &list);
