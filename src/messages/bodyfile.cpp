#include "bodyfile.h"

#include "storageerror.h"
#include "textdecoding.h"

#include <QFile>
#include <QFileInfo>

namespace
{

/// Far beyond any message, and about as much as can be edited.
constexpr qint64 maximumSize = 16 * 1024 * 1024;

[[noreturn]] void fail(const QString &path, const QString &reason)
{
    throw StorageError(0, QStringLiteral("File system"),
                       QStringLiteral("Cannot read %1: %2").arg(path, reason));
}

} // namespace

QString readBodyFile(const QString &path)
{
    const QFileInfo info(path);
    // A pipe or a device would keep the window waiting.
    if (info.exists() && !info.isFile())
        fail(path, QStringLiteral("It is not a file"));
    if (info.size() > maximumSize)
        fail(path, QStringLiteral("It is larger than 16 MB"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(path, file.errorString());
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        fail(path, file.errorString());

    const QString crLf = QStringLiteral("\r\n");
    const QString lf = QStringLiteral("\n");
    QString text = decodeFile(content).replace(crLf, lf).replace(QLatin1Char('\r'), lf);
    if (!text.isEmpty() && !text.endsWith(lf))
        text += lf;
    return text.replace(lf, crLf);
}
