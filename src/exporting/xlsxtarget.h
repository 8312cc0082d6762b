#pragma once

#include "recordtarget.h"

#include <QFileInfo>
#include <QString>
#include <QStringList>

struct lxw_workbook;
struct lxw_worksheet;

/// Writes an .xlsx workbook row by row, in constant memory. Every cell is text: nothing from a
/// recipient's data is calculated, and leading zeros stay.
class XlsxTarget final : public RecordTarget
{
public:
    /// Throws StorageError.
    XlsxTarget(const QString &path, const QStringList &headings);
    ~XlsxTarget() override { discard(); }
    Q_DISABLE_COPY(XlsxTarget)

    void expect(qint64 records) override;
    void write(std::span<const std::string> fields) override;
    void finish() override;
    QString remark() const override;

private:
    void checkTemporaryFile();
    void discard();

    const QString m_path;
    const QFileInfo m_file; // that is there already under the name, behind all links
    const QString m_temporaryPath;
    lxw_workbook *m_workbook = nullptr;
    lxw_worksheet *m_sheet = nullptr;
    unsigned m_rows = 0;
    qint64 m_cut = 0;
};
