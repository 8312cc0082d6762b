#include "recipientreader.h"

#include "connection.h"

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

RecipientReader::RecipientReader(Connection &list, const QString &condition)
    : m_list(list)
    , m_rows(list.prepare(QStringLiteral("select email, fname, lname, title, contact, company, "
                                         "memo from email") +
                          condition + QStringLiteral(" order by mid")))
{
}

RecipientReader::~RecipientReader() = default;

bool RecipientReader::next(RecipientRecord &record)
{
    try {
        if (!m_rows->executeStep())
            return false;
        for (int i = 0; i < int(record.size()); ++i) {
            const SQLite::Column column = m_rows->getColumn(i);
            // The text first: asking for it is what makes the size that of the text.
            const char *text = column.getText();
            record[size_t(i)].assign(text, size_t(column.getBytes()));
        }
        return true;
    } catch (const SQLite::Exception &e) {
        m_list.raise(e);
    }
}
