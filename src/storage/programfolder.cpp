#include "programfolder.h"

#include "connection.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <sys/stat.h>

namespace
{

QString connectionString(const QString &path)
{
    return QStringLiteral("Driver={Microsoft Access Driver (*.mdb)};Dbq=") + path +
           QLatin1Char(';');
}

void removeSideFiles(const QString &database)
{
    QFile::remove(database + QStringLiteral("-wal"));
    QFile::remove(database + QStringLiteral("-shm"));
}

/// Where a file of this name lies or would lie, without links. Empty where its folder is missing.
QString resolved(const QString &path)
{
    QFileInfo file(path);
    constexpr int mostLinks = 40; // as the system follows; they may go round in a circle
    for (int i = 0; file.isSymLink() && i < mostLinks; ++i)
        file.setFile(file.symLinkTarget());
    const QString folder = QFileInfo(file.absolutePath()).canonicalFilePath();
    return folder.isEmpty() ? folder : QDir(folder).filePath(file.fileName());
}

/// Copies through a temporary file, so that a full disk leaves neither half a database nor a
/// damaged old one.
void copyDatabase(const QString &from, const QString &to)
{
    QFile source(from);
    QSaveFile target(to);
    if (!source.open(QIODevice::ReadOnly))
        cannotRead(from, source.errorString());
    if (!target.open(QIODevice::WriteOnly))
        cannotWrite(to, target.errorString());
    target.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QByteArray block;
    do {
        block = source.read(1 << 20);
        if (target.write(block) != block.size())
            cannotWrite(to, target.errorString());
    } while (!block.isEmpty());
    if (source.error() != QFileDevice::NoError)
        cannotRead(from, source.errorString());
    // A log left beside the old file would be played back into the new one.
    removeSideFiles(to);
    if (!target.commit())
        cannotWrite(to, target.errorString());
}

} // namespace

bool makePrivate(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info;
    return ::stat(name, &info) == 0 && (info.st_mode & 077) != 0 &&
           ::chmod(name, info.st_mode & 0700) == 0;
}

ProgramFolder::ProgramFolder(const QString &path)
    : m_path(QDir(path).absolutePath())
{
    for (const char *name : {"data", "log", "ulist.txt"})
        makePrivate(file(QLatin1String(name)));
}

ProgramFolder ProgramFolder::ofExecutable()
{
    return ProgramFolder(QCoreApplication::applicationDirPath());
}

QString ProgramFolder::file(const QString &name) const
{
    return m_path + QLatin1Char('/') + QString(name).replace(QLatin1Char('\\'), QLatin1Char('/'));
}

QString ProgramFolder::systemConnectionString() const
{
    return connectionString(m_path + QStringLiteral("\\sys.mdb"));
}

QString ProgramFolder::listConnectionString(qint64 listId) const
{
    return connectionString(m_path + QStringLiteral("\\data\\m%1.mdb").arg(listId));
}

QString ProgramFolder::listDatabaseFile(qint64 listId) const
{
    return file(QStringLiteral("data\\m%1.mdb").arg(listId));
}

void ProgramFolder::createListDatabase(qint64 listId) const
{
    if (!QDir().mkpath(file(QStringLiteral("data"))))
        fileFailure(QStringLiteral("Cannot make the folder %1.").arg(file(QStringLiteral("data"))));
    makePrivate(file(QStringLiteral("data")));
    keepStranger(listId);
    copyDatabase(file(QStringLiteral("mtemplate.mdb")), listDatabaseFile(listId));
}

void ProgramFolder::duplicateListDatabase(qint64 from, qint64 to) const
{
    const QString source = listDatabaseFile(from);
    // Opening and closing folds in what a crash may have left in the log beside the file.
    Connection(listConnectionString(from)).close();
    if (QFileInfo(source + QStringLiteral("-wal")).size() > 0)
        fileFailure(
            QStringLiteral("The database %1 is in use, so it cannot be copied.").arg(source));
    keepStranger(to);
    copyDatabase(source, listDatabaseFile(to));
}

/// Numbers are not used twice: a database where a new list's is to be is of another catalogue that
/// once lay here.
void ProgramFolder::keepStranger(qint64 listId) const
{
    const QString path = listDatabaseFile(listId);
    if (!QFile::exists(path))
        return;
    try {
        Connection(listConnectionString(listId)).close(); // folds in its log
    } catch (const StorageError &) {
        // It is kept as it is.
    }
    QString kept = path + QStringLiteral(".old");
    for (int number = 2; QFile::exists(kept); ++number)
        kept = path + QStringLiteral(".old%1").arg(number);
    if (!QFile::rename(path, kept))
        fileFailure(QStringLiteral("The file %1 is in the way, and cannot be renamed.").arg(path));
}

void ProgramFolder::deleteListDatabase(qint64 listId) const
{
    const QString path = listDatabaseFile(listId);
    QFile file(path);
    if (!file.remove())
        fileFailure(QStringLiteral("Cannot delete %1: %2").arg(path, file.errorString()));
    removeSideFiles(path);
}

void ProgramFolder::refuseOwnFile(const QString &path) const
{
    const QString target = resolved(path);
    if (target.isEmpty())
        return; // nothing can be written there
    bool isOwn = false;
    for (const char *name : {"sys.mdb", "mtemplate.mdb", "ulist.txt"}) {
        const QString own = resolved(file(QLatin1String(name)));
        for (const char *end : {"", "-wal", "-shm", "-journal"})
            isOwn = isOwn || target == own + QLatin1String(end);
    }
    for (const char *name : {"data", "log"}) {
        const QString own = QFileInfo(file(QLatin1String(name))).canonicalFilePath();
        isOwn = isOwn || (!own.isEmpty() && target.startsWith(own + QLatin1Char('/')));
    }
    if (isOwn)
        fileFailure(QStringLiteral("%1 belongs to the program; choose another file.").arg(path));
}
