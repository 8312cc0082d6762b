#pragma once

#include <QSet>
#include <QString>

class ProgramFolder;

/// Reads "ulist.txt" of the program folder: its lines that are not blank, as they stand, each
/// followed by CR LF. A line that is not UTF-8 is read as Windows-1252. No file gives no text.
QString loadUnsubscribeList(const ProgramFolder &folder);

/// Writes `text` and one line break to "ulist.txt", replacing it; a failure leaves the old file.
void saveUnsubscribeList(const ProgramFolder &folder, const QString &text);

/// The addresses of an unsubscribe list, looked up whole: as they are written but for letter case
/// and blanks around the address, and as mailboxes, however they are spelled.
class UnsubscribeList
{
public:
    explicit UnsubscribeList(const QString &text);
    bool contains(const QString &address) const;

private:
    QSet<QString> m_lines;     // upper case
    QSet<QString> m_mailboxes; // in the form of mailboxForm()
};
