#include "connection.h"

#include "programfolder.h"
#include "sqlfunctions.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QUrl>

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <cerrno>

namespace
{

/// How long a statement waits for another program that is writing to the same file.
constexpr int busyTimeoutMs = 2000;

/// How large the log may grow before it is folded into the file, in pages of 4 KB: the engine's own
/// measure, and one for many commits in a row, which would touch the same pages over and over.
constexpr int logPages = 1000;
constexpr int bulkLogPages = 4000;

QString databasePath(const QString &connectionString)
{
    const QString key = QStringLiteral("Dbq=");
    const qsizetype at = connectionString.indexOf(key, 0, Qt::CaseInsensitive);
    if (at < 0)
        throw StorageError(SQLITE_CANTOPEN, QStringLiteral("SQLite"),
                           QStringLiteral("The connection string names no database file."));
    // Dbq comes last, so a ";" inside the path belongs to it.
    QString path = connectionString.mid(at + key.size());
    if (path.endsWith(QLatin1Char(';')))
        path.chop(1);
    return path.replace(QLatin1Char('\\'), QLatin1Char('/'));
}

/// Opens a database. Where nothing can be written it is opened as one that nobody changes, because
/// the engine would make its files beside it; but a log that lies there holds what would be missed.
std::unique_ptr<SQLite::Database> opened(const QString &path)
{
    // All work is on one thread, so the engine need not lock at each of a million calls.
    int flags = SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX;
    QByteArray name = path.toUtf8();
    if (!QFileInfo(QFileInfo(path).path()).isWritable() &&
        QFileInfo(path + QStringLiteral("-wal")).size() == 0) {
        flags = SQLite::OPEN_READONLY | SQLite::OPEN_NOMUTEX | SQLite::OPEN_URI;
        name = "file:" + QUrl::toPercentEncoding(path, "/") + "?immutable=1";
    }
    return std::make_unique<SQLite::Database>(name.toStdString(), flags, busyTimeoutMs);
}

/// The engine's result code in words for somebody who keeps mail lists.
QString describe(int code, const QString &name, const QString &engineText)
{
    switch (code & 0xff) {
    case SQLITE_CANTOPEN:
        return QFileInfo::exists(name)
                   ? QStringLiteral("The database %1 cannot be opened.").arg(name)
                   : QStringLiteral("The database %1 does not exist.").arg(name);
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
        return QStringLiteral("The file %1 is damaged or is not a database.").arg(name);
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return QStringLiteral("The database %1 is in use by another program.").arg(name);
    case SQLITE_FULL:
        return QStringLiteral("The disk that holds %1 is full.").arg(name);
    case SQLITE_READONLY:
    case SQLITE_PERM:
        return QStringLiteral("The database %1 may not be written to.").arg(name);
    case SQLITE_IOERR:
        return QStringLiteral("Reading or writing %1 failed (%2).").arg(name, engineText);
    case SQLITE_TOOBIG:
        return QStringLiteral("The text is too long for the database.");
    default:
        break;
    }
    if (engineText == QLatin1String("no such table: email"))
        return QStringLiteral("The file %1 is not a maillist.").arg(name);
    if (engineText.endsWith(QStringLiteral("failed: email.email"))) {
        return code == SQLITE_CONSTRAINT_NOTNULL
                   ? QStringLiteral("A recipient needs an email address.")
                   : QStringLiteral("This email address is already in the list.");
    }
    return engineText;
}

} // namespace

Connection::Connection() = default;

Connection::Connection(const QString &connectionString)
{
    open(connectionString);
}

Connection::~Connection() = default;

void Connection::open(const QString &connectionString)
{
    close();
    m_path = databasePath(connectionString);
    // The engine gives its files beside the database the same permissions.
    for (const char *end : {"", "-wal", "-shm"})
        makePrivate(m_path + QLatin1String(end));
    auto failed = qScopeGuard([this] { close(); });
    try {
        m_database = opened(m_path);
        addSqlFunctions(m_database->getHandle());
        m_database->exec("pragma synchronous=full");
        // The engine reads the file only when it must; a damaged one is to fail here.
        m_database->exec("select count(*) from sqlite_master");
    } catch (const SQLite::Exception &e) {
        raise(e);
    }
    failed.dismiss();
}

void Connection::close()
{
    m_database.reset();
}

void Connection::execute(const QString &sql)
{
    try {
        // A select is allowed too; its rows are of no interest.
        const auto statement = prepare(sql);
        while (statement->executeStep())
            ;
    } catch (const SQLite::Exception &e) {
        raise(e);
    }
}

qint64 Connection::number(const QString &select)
{
    try {
        const auto statement = prepare(select);
        return statement->executeStep() ? statement->getColumn(0).getInt64() : 0;
    } catch (const SQLite::Exception &e) {
        raise(e);
    }
}

void Connection::beginBulk()
{
    execute(QStringLiteral("pragma synchronous=normal"));
    execute(QStringLiteral("pragma wal_autocheckpoint=%1").arg(bulkLogPages));
}

void Connection::endBulk()
{
    execute(QStringLiteral("pragma synchronous=full"));
    execute(QStringLiteral("pragma wal_autocheckpoint=%1").arg(logPages));
    // All that was committed since the file was last made current is in the log.
    sqlite3_file *log = nullptr;
    const int found =
        sqlite3_file_control(database().getHandle(), "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    if (found != SQLITE_OK || !log || !log->pMethods)
        return;
    if (const int code = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL); code != SQLITE_OK)
        throw failure(code, sqlite3_errstr(code));
}

std::unique_ptr<SQLite::Statement> Connection::prepare(const QString &sql)
{
    const std::string text = sql.toStdString();
    try {
        auto statement = std::make_unique<SQLite::Statement>(database(), text);
        // Only a text with a semicolon can hold a second statement.
        if (const auto semicolon = text.find(';'); semicolon != std::string::npos) {
            sqlite3_stmt *first = nullptr;
            const char *rest = nullptr;
            sqlite3_prepare_v2(database().getHandle(), text.c_str(), int(text.size()), &first,
                               &rest);
            sqlite3_finalize(first);
            if (!QByteArray(rest).trimmed().isEmpty())
                throw StorageError(SQLITE_ERROR, QStringLiteral("SQLite"),
                                   QStringLiteral("The text holds more than one statement."));
        }
        return statement;
    } catch (const SQLite::Exception &e) {
        raise(e);
    }
}

void Connection::raise(const SQLite::Exception &error) const
{
    const int code = error.getExtendedErrorCode();
    throw failure(code > 0 ? code : error.getErrorCode(), error.what());
}

StorageError Connection::lastError() const
{
    return failure(database().getExtendedErrorCode(), database().getErrorMsg());
}

StorageError Connection::failure(int code, const char *engineText) const
{
    // The engine calls it a full disk only where it was about to lengthen the database itself.
    if (m_database && (code & 0xff) == SQLITE_IOERR &&
        sqlite3_system_errno(m_database->getHandle()) == ENOSPC)
        code = SQLITE_FULL;
    return StorageError(code, QStringLiteral("SQLite"),
                        describe(code, m_path, QString::fromUtf8(engineText)));
}

SQLite::Database &Connection::database() const
{
    if (!m_database)
        throw StorageError(SQLITE_MISUSE, QStringLiteral("SQLite"),
                           QStringLiteral("The database is not open."));
    return *m_database;
}

Transaction::Transaction(Connection &connection)
    : m_connection(&connection)
{
    // A transaction that is going to write asks for the lock at once; one that reads first could
    // be refused later, when waiting no longer helps.
    connection.execute(QStringLiteral("begin immediate"));
}

Transaction::~Transaction()
{
    if (!m_connection)
        return;
    try {
        m_connection->execute(QStringLiteral("rollback"));
    } catch (const StorageError &) {
        // The engine has undone it by itself.
    }
}

void Transaction::commit()
{
    m_connection->execute(QStringLiteral("commit"));
    m_connection = nullptr;
}
