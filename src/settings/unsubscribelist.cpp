#include "unsubscribelist.h"

#include "mailboxform.h"
#include "programfolder.h"
#include "storageerror.h"
#include "textdecoding.h"

#include <QFile>
#include <QFileInfo>
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
    if (!file.exists())
        return {};
    const auto refuse = [&file](const QString &why) {
        fileFailure(QStringLiteral("The unsubscribe list %1 cannot be read: %2")
                        .arg(QFileInfo(file).filePath(), why));
    };
    if (isNoFile(file.fileName())) // a pipe would be waited for
        refuse(QStringLiteral("it is not a file."));
    if (!file.open(QIODevice::ReadOnly))
        refuse(file.errorString());
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        refuse(file.errorString());
    if (bytes.startsWith("\xef\xbb\xbf"))
        bytes.remove(0, 3);
    else if (const auto encoding = QStringConverter::encodingForData(bytes)) // UTF-16 or UTF-32
        bytes = QString(QStringDecoder(*encoding)(bytes)).toUtf8();
    if (bytes.contains('\0'))
        refuse(QStringLiteral("it is not a text file."));
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
    // What nobody could read was not seen either, and stays.
    if (const QString old = loadUnsubscribeList(folder); old == text || old == text + lineBreak)
        return;
    QSaveFile file(filePath(folder));
    if (!file.open(QIODevice::WriteOnly) || file.write((text + lineBreak).toUtf8()) < 0 ||
        !file.commit())
        fileFailure(QStringLiteral("The unsubscribe list %1 cannot be saved: %2")
                        .arg(QFileInfo(file.fileName()).filePath(), file.errorString()));
}

void UnsubscribeList::add(const QString &text)
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
