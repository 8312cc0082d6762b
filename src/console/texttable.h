#pragma once

#include <QStringList>

#include <vector>

struct TextColumn {
    QString heading;
    bool isNumber = false; ///< numbers stand to the right
};

/// Headings and rows as lines of text, a cell for each column, without a line break at the end.
QString textTable(const std::vector<TextColumn> &columns, const std::vector<QStringList> &rows);
