#pragma once

#include <QStringList>

#include <functional>
#include <vector>

struct ListingColumn {
    const char *name;    ///< in JSON
    const char *heading; ///< in the table; null where it is not there
    bool isNumber = false;
};

using PrintRow = std::function<void(const QStringList &cells)>;

/// Prints rows as JSON, an object a line, or as a table with the cells one below the other. `rows`
/// hands every row to the function that it is given; for a table it is called twice, so that a
/// list of any length takes no memory.
void printListing(const std::vector<ListingColumn> &columns,
                  const std::function<void(const PrintRow &)> &rows, bool json);
