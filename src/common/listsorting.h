#pragma once

#include <QStringList>

#include <array>
#include <optional>
#include <vector>

/// How the cells of a list's column are compared.
enum class SortKind { Text, Number, Date };

/// The number that a text says as a whole: a sign, digits, a decimal point and an exponent, with
/// blanks around it. No value for any other text.
std::optional<double> numericValue(const QString &text);

/// A text that sorts as the number in `cell` does: ten integer and twenty fraction digits. What
/// is no number has an empty key and so comes first.
QString numberSortKey(const QString &cell);

/// "yyyymmddhhnnss" of the date and time in `cell`, year first or in the locale's short form; what
/// is no date is its own key.
QString dateSortKey(const QString &cell);

/// The positions of `cells` in sorted order; cells that are equal stay in the order they have.
std::vector<int> sortedOrder(const QStringList &cells, SortKind kind, bool ascending);

/// The column a list is sorted by, and the direction each of its columns remembers.
class SortState
{
public:
    static constexpr int MaxColumns = 30;

    int column() const { return m_column; }
    bool ascending() const { return m_ascending[size_t(m_column)]; }

    /// A click on a header: the column becomes the sorted one and turns its direction, which is
    /// ascending the first time.
    void click(int column);
    /// The next click on the column sorts it ascending.
    void sortDescending(int column);

private:
    int m_column = 0;
    std::array<bool, MaxColumns> m_ascending = {};
};
