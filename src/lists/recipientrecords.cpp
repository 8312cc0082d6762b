#include "recipientrecords.h"

#include "mailboxform.h"
#include "sqltext.h"

#include <QStringList>

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

#include <algorithm>
#include <utility>

namespace
{

/// A tenth of a second less what the last records and the commit itself take.
constexpr std::chrono::milliseconds commitEvery{80};

/// One statement that adds this many recipients takes a third of the time of as many statements:
/// the engine finds its place in the table, and notes the last number given, once.
constexpr size_t batchSize = 16;
/// Where a record is refused there are usually more, as when a file is imported again; for so many
/// batches it is not tried at once, to be undone.
constexpr int singleBatches = 16;
constexpr size_t fieldCount = std::tuple_size_v<RecipientRecord>;

QString insertStatement(size_t rows)
{
    return QStringLiteral("insert into email (email, fname, lname, title, contact, company, memo) "
                          "values ") +
           QStringList(qsizetype(rows), QStringLiteral("(?, ?, ?, ?, ?, ?, ?)"))
               .join(QStringLiteral(", "));
}

/// Whether the table's key finds every other plain spelling of the same mailbox.
bool isPlain(std::string_view address)
{
    return !address.ends_with('.') && std::all_of(address.begin(), address.end(), [](char c) {
        return c > ' ' && c <= '~' && c != '"';
    });
}

} // namespace

qint64 countRecipients(Connection &list, const QString &condition)
{
    return list.number(QStringLiteral("select count(*) from email ") + condition);
}

Statement outcomeStatement(Connection &list)
{
    return Statement(list,
                     QStringLiteral("update email set status=nullif(?, ''), remark=? where mid=?"));
}

void forgetOutcomes(Connection &list)
{
    list.execute(QStringLiteral("update email set status=null"));
}

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

RecipientLookup::RecipientLookup(Connection &list)
    : m_list(list)
    , m_select(list.prepare(QStringLiteral("select email, fname, lname, title, contact, company, "
                                           "memo, status, remark from email where mid=?")))
{
}

RecipientLookup::~RecipientLookup() = default;

bool RecipientLookup::find(qint64 mid, RecipientRow &recipient)
{
    try {
        m_select->reset();
        m_select->bind(1, static_cast<int64_t>(mid));
        if (!m_select->executeStep())
            return false;
        const auto text = [this](int column) {
            const SQLite::Column value = m_select->getColumn(column);
            const char *bytes = value.getText();
            return QString::fromUtf8(bytes, value.getBytes());
        };
        const int count = int(recipient.fields.size());
        for (int i = 0; i < count; ++i)
            recipient.fields[size_t(i)] = text(i);
        recipient.status = text(count);
        recipient.remark = text(count + 1);
        m_select->reset();
        return true;
    } catch (const SQLite::Exception &e) {
        m_list.raise(e);
    }
}

QString refusalLine(qint64 number, std::span<const std::string> fields, const QString &why)
{
    QStringList cells{QString::number(number)};
    for (const std::string &field : fields)
        cells += QString::fromStdString(field).replace(QLatin1Char('\''), QStringLiteral("''"));
    cells += QString(why).remove(u'\r').replace(u'\n', u' ');
    return cells.join(QLatin1Char('\t'));
}

RecipientInserter::RecipientInserter(Connection &list, Refused refused)
    : m_list(list)
    , m_refused(std::move(refused))
    , m_insertOne(list, insertStatement(1))
    , m_insertBatch(list, insertStatement(batchSize))
    , m_fields(batchSize * fieldCount)
    , m_numbers(batchSize)
{
    const auto rows = list.prepare(QStringLiteral("select email from email"));
    try {
        while (rows->executeStep()) {
            if (const SQLite::Column email = rows->getColumn(0); !isPlain(email.getText()))
                m_forms.insert(mailboxForm(QString::fromUtf8(email.getText())));
        }
    } catch (const SQLite::Exception &e) {
        list.raise(e);
    }
    list.beginBulk();
}

RecipientInserter::~RecipientInserter()
{
    if (m_isFinished)
        return;
    m_transaction.reset();
    try {
        m_list.endBulk();
    } catch (const StorageError &) {
        // It goes because of an error, which says what there is to say.
    }
}

void RecipientInserter::add(qint64 number, const RecipientRecord &record)
{
    if (isOtherwiseThere(record.front()))
        return m_refused(number, record,
                         QStringLiteral("This email address is already in the list, maybe in "
                                        "another spelling."));
    std::copy(record.begin(), record.end(),
              m_fields.begin() + std::ptrdiff_t(m_waiting * fieldCount));
    m_numbers[m_waiting++] = number;
    if (m_waiting == batchSize)
        settle();
}

/// What is spelled the same the table refuses. Nearly all addresses are plain, and cost nothing.
bool RecipientInserter::isOtherwiseThere(const std::string &address)
{
    const bool isPlainAddress = isPlain(address);
    if (isPlainAddress && m_forms.isEmpty())
        return false;
    const QString form = mailboxForm(QString::fromStdString(address));
    bool isThere = m_forms.contains(form);
    if (isThere || !isPlainAddress)
        settle();
    if (!isThere && !isPlainAddress)
        isThere = m_list.number(QStringLiteral("select count(*) from email where email = ") +
                                quoted(form)) > 0;
    if (!isPlainAddress)
        m_forms.insert(form);
    return isThere;
}

void RecipientInserter::settle()
{
    const size_t count = std::exchange(m_waiting, 0);
    if (count == 0)
        return;
    try {
        if (!m_transaction) {
            m_transaction.emplace(m_list);
            m_begun = Clock::now();
        }
        if (count == batchSize && insertBatch())
            return;
        for (size_t i = 0; i < count; ++i)
            insertOne(m_numbers[i], std::span(m_fields).subspan(i * fieldCount, fieldCount));
    } catch (const StorageError &e) {
        undo(e);
    }
}

bool RecipientInserter::insertBatch()
{
    if (m_single > 0) {
        --m_single;
        return false;
    }
    if (m_insertBatch.tryAll(m_fields)) {
        m_added += qint64(batchSize);
        return true;
    }
    // The engine has undone the whole statement, and no other of the transaction. One by one the
    // records show which of them are refused.
    m_single = singleBatches;
    return false;
}

void RecipientInserter::insertOne(qint64 number, std::span<const std::string> fields)
{
    QString why;
    if (m_insertOne.tryAll(fields, &why))
        ++m_added;
    else
        m_refused(number, fields, why);
}

void RecipientInserter::commitWhenDue()
{
    if (m_transaction && Clock::now() - m_begun >= commitEvery)
        commit();
}

void RecipientInserter::finish()
{
    settle();
    commit();
    m_list.endBulk();
    m_isFinished = true;
}

void RecipientInserter::commit()
{
    if (!m_transaction)
        return;
    try {
        m_transaction->commit();
        m_transaction.reset();
        m_committed = m_added;
    } catch (const StorageError &e) {
        undo(e);
    }
}

void RecipientInserter::undo(const StorageError &error)
{
    m_transaction.reset();
    m_added = m_committed;
    m_hasFailed = true;
    throw error;
}
