#include "unsubscribelist.h"

#include "mailboxform.h"
#include "programfolder.h"
#include "textdecoding.h"

#include <QFile>
#include <QSaveFile>

namespace
{

QString filePath(const ProgramFolder &folder)
{
    return folder.file(QStringLiteral("ulist.txt"));
}

const QString lineBreak = QStringLiteral("\r\n");

} // namespace

QString loadUnsubscribeList(const ProgramFolder &folder)
{
    QFile file(filePath(folder));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray bytes = file.readAll();
    if (bytes.startsWith("\xef\xbb\xbf"))
        bytes.remove(0, 3);
    bytes.replace("\r\n", "\n").replace('\r', '\n');
    QString text;
    for (const QByteArray &line : bytes.split('\n')) {
        const QString decoded = decodeText(line);
        if (!decoded.trimmed().isEmpty())
            text += decoded + lineBreak;
    }
    return text;
}

void saveUnsubscribeList(const ProgramFolder &folder, const QString &text)
{
    QSaveFile file(filePath(folder));
    if (file.open(QIODevice::WriteOnly) && file.write((text + lineBreak).toUtf8()) >= 0)
        file.commit();
}

UnsubscribeList::UnsubscribeList(const QString &text)
{
    for (const QString &line : text.split(lineBreak)) {
        m_lines.insert(line.toUpper());
        m_mailboxes.insert(mailboxForm(line));
    }
    m_mailboxes.remove({}); // of an empty line
}

bool UnsubscribeList::contains(const QString &address) const
{
    return m_lines.contains(address.trimmed().toUpper()) ||
           m_mailboxes.contains(mailboxForm(address));
}
