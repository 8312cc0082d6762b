#pragma once

#include "programfolder.h"

#include <QStringList>
#include <QTemporaryDir>

/// A text that a test may also write as a plain literal, in UTF-8.
struct TestText : QString {
    using QString::QString;
    TestText() = default;
    TestText(const char *text)
        : QString(QString::fromUtf8(text))
    {
    }
    TestText(const QString &text)
        : QString(text)
    {
    }
};

/// A new program folder in a temporary directory, with the empty databases of a fresh install. The
/// account's settings lie in it too while it lives.
class TestFolder
{
public:
    TestFolder();

    const ProgramFolder &folder() const { return m_folder; }
    QString file(const TestText &name) const { return m_folder.file(name); }

    /// Adds a list with these addresses, or more columns given as SQL values ("'a@b.c','Ann'") in
    /// the order email, fname, lname, title, contact, company, memo. Returns its number.
    qint64 addList(const TestText &name, const QStringList &rows) const;
    qint64 addList(const TestText &name, std::initializer_list<TestText> rows) const
    {
        return addList(name, QStringList(rows.begin(), rows.end()));
    }
    qint64 addMessage(const TestText &subject, const TestText &body,
                      const TestText &format = "TEXT") const;
    qint64 addJob(const TestText &name, qint64 listId, qint64 messageId) const;

    /// Every row of a select on the system database (listId 0) or a list's, columns joined by "|",
    /// null as "null".
    QStringList rows(const TestText &select, qint64 listId = 0) const;
    /// The first of them.
    QString row(const TestText &select, qint64 listId = 0) const
    {
        return rows(select, listId).value(0);
    }
    void execute(const TestText &sql, qint64 listId = 0) const;
    /// Lets every `event` ("update on mjob") fail with the error "no room".
    void refuse(const TestText &event, qint64 listId = 0) const;
    /// Ends what refuse() began.
    void allow(const TestText &event, qint64 listId = 0) const;

private:
    QString connection(qint64 listId) const;

    QTemporaryDir m_directory;
    ProgramFolder m_folder;
};
