#pragma once

#include "recipientsource.h"
#include "textlines.h"

/// The text that parts fields, of an entry of the separator boxes: "TAB" or the text itself.
QString separatorText(const QString &entry);

/// Recipients in lines of text, their fields parted by a separator. There is no quoting: a double
/// quote belongs to the value, and every separator parts. Blanks around a field do not count.
class DelimitedSource final : public RecipientSource
{
public:
    /// `separator`: an entry of the separator box. Throws StorageError.
    DelimitedSource(const QString &path, const QString &separator);

    bool next() override;
    qint64 number() const override { return m_number; }
    bool isEmpty() const override { return m_line.empty(); }
    bool isDamaged() const override { return m_lines.isDamaged(); }
    const RecipientRecord &record() const override { return m_record; }
    double progress() const override { return m_lines.progress(); }

private:
    TextLines m_lines;
    const std::string m_separator;
    std::string_view m_line;
    qint64 m_number = 0;
    RecipientRecord m_record;
};
