#pragma once

#include "recipientsource.h"

#include <QString>

#include <vector>

/// Recipients in the rows of an .xls workbook: from the second row of the sheet that it opens on,
/// until a row whose first cell is empty. Cells are read as the text they show: whole numbers have
/// no decimal point, dates look as their format says, formulas are what they had come to.
class XlsSource final : public RecipientSource
{
public:
    /// Throws StorageError.
    explicit XlsSource(const QString &path);

    bool next() override;
    qint64 number() const override { return qint64(m_row) + 1; }
    const RecipientRecord &record() const override { return m_rows[m_row]; }
    double progress() const override;

private:
    std::vector<RecipientRecord> m_rows; // of all that the sheet has, the headings too
    size_t m_row = 0;
};
