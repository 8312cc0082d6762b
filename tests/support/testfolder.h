#pragma once

#include "programfolder.h"

#include <QStringList>
#include <QTemporaryDir>

/// A new program folder in a temporary directory, with the empty databases of a fresh install.
class TestFolder
{
public:
    TestFolder();

    const ProgramFolder &folder() const { return m_folder; }
    QString file(const QString &name) const { return m_folder.file(name); }

    /// Adds a list with these addresses, or more columns given as SQL values ("'a@b.c','Ann'") in
    /// the order email, fname, lname, title, contact, company, memo. Returns its number.
    qint64 addList(const QString &name, const QStringList &rows) const;
    qint64 addMessage(const QString &subject, const QString &body,
                      const QString &format = QStringLiteral("TEXT")) const;
    qint64 addJob(const QString &name, qint64 listId, qint64 messageId) const;

    /// Every row of a select on the system database (listId 0) or a list's, columns joined by "|",
    /// null as "null".
    QStringList rows(const QString &select, qint64 listId = 0) const;
    void execute(const QString &sql, qint64 listId = 0) const;

private:
    QString connection(qint64 listId) const;

    QTemporaryDir m_directory;
    ProgramFolder m_folder;
};
