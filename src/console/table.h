#pragma once

#include <QStringList>

#include <vector>

struct TableColumn {
    QString heading;
    bool isNumber = false; ///< and so stands on the right
};

/// Lines of text with their cells one below the other.
QString table(const std::vector<TableColumn> &columns, const std::vector<QStringList> &rows);
