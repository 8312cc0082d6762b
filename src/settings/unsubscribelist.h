#pragma once

#include <QSet>
#include <QString>

class ProgramFolder;

/// Reads "ulist.txt" of the program folder: its lines that are not blank, as they stand, each
/// followed by CR LF. A line that is not UTF-8 is read as Windows-1252. No file gives no text.
QString loadUnsubscribeList(const ProgramFolder &folder);

/// Writes `text` and one line break to "ulist.txt", replacing it; a failure leaves the old file.
void saveUnsubscribeList(const ProgramFolder &folder, const QString &text);

/// The addresses of an unsubscribe list, looked up whole and without regard to letter case. Blanks
/// around the address are not significant, blanks in a line of the list are.
class UnsubscribeList
{
public:
    explicit UnsubscribeList(const QString &text);
    bool contains(const QString &address) const;

private:
    QSet<QString> m_lines; // upper case
};
