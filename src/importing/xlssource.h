#pragma once

#include "recipientsource.h"
#include "workbookrecords.h"

#include <memory>

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
    const RecipientRecord &record() const override { return m_record; }
    double progress() const override;

private:
    QString cell(unsigned column) const;

    struct Close {
        void operator()(const void *workbook) const;
    };
    std::unique_ptr<const void, Close> m_workbook;
    WorkbookRecords::Results m_results;
    bool m_from1904 = false; // the day that dates are counted from
    unsigned m_row = 0;
    unsigned m_rows = 0;
    RecipientRecord m_record;
};
