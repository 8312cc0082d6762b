#pragma once

#include <QString>

/// Takes the rights to a file or folder from everybody but its owner. Returns whether there were
/// any.
bool makePrivate(const QString &path);

/// The folder that holds the program's data, and the list database files in it.
///
/// Its databases and logs hold recipients, so they are for its owner alone, whatever they were
/// before: the folders of lists and logs and the unsubscribe list from when an object is made, each
/// database from when it is opened.
///
/// Paths inside it are formed with "\", as the connection strings always were; file() gives the
/// platform's form.
class ProgramFolder
{
public:
    /// `path`: absolute, or relative to the working directory.
    explicit ProgramFolder(const QString &path);

    /// The folder of the running executable.
    static ProgramFolder ofExecutable();

    const QString &path() const { return m_path; }
    /// The platform's path of a file in the folder; `name` may hold "\" ("data\m1.mdb").
    QString file(const QString &name) const;

    QString systemConnectionString() const;
    QString listConnectionString(qint64 listId) const;
    QString listDatabaseFile(qint64 listId) const;

    /// Makes list `listId`'s database as a copy of the empty template, and the data folder where it
    /// is missing. A file of that name is kept as "m<number>.mdb.old". Throws StorageError.
    void createListDatabase(qint64 listId) const;
    /// Makes list `to`'s database as a copy of that of `from`. A file of that name is kept
    /// likewise. Throws StorageError.
    void duplicateListDatabase(qint64 from, qint64 to) const;
    /// Deletes the file (and the engine's side files). Throws StorageError when it stays.
    void deleteListDatabase(qint64 listId) const;

    /// Throws StorageError when a file of this name would take the place of what the program keeps:
    /// its databases with the engine's files beside them, the unsubscribe list and the logs.
    void refuseOwnFile(const QString &path) const;

private:
    void keepStranger(qint64 listId) const;

    QString m_path;
};
