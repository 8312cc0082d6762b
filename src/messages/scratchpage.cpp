#include "scratchpage.h"

#include "programfolder.h"
#include "storageerror.h"

#include <QFile>

void writeScratchPage(const QString &path, const QString &body)
{
    const QByteArray page = "\xef\xbb\xbf" + body.toUtf8() + "\r\n";
    makePrivate(path);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(page) != page.size() || !file.flush())
        cannotWrite(path, file.errorString());
}
