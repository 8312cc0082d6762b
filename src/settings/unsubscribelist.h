#pragma once

#include <QSet>
#include <QString>

class ProgramFolder;

/// Reads "ulist.txt" of the program folder: its lines that are not blank, as they stand, each
/// followed by CR LF. A byte-order mark names the encoding; without one a line that is not UTF-8 is
/// read as Windows-1252. No file gives no text. Throws StorageError when there is one that cannot
/// be read, for then nobody knows whom not to mail.
QString loadUnsubscribeList(const ProgramFolder &folder);

/// Writes `text` and one line break to "ulist.txt", replacing it. Throws StorageError, and leaves
/// the old file, when that fails or when the old file cannot be read.
void saveUnsubscribeList(const ProgramFolder &folder, const QString &text);

/// The addresses of an unsubscribe list, looked up whole: as they are written but for letter case
/// and blanks around the address, and as mailboxes, however they are spelled.
class UnsubscribeList
{
public:
    explicit UnsubscribeList(const QString &text) { add(text); }
    void add(const QString &text);
    bool contains(const QString &address) const;

private:
    QSet<QString> m_lines;     // upper case
    QSet<QString> m_mailboxes; // in the form of mailboxForm()
};
