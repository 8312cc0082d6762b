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

    const QString text = decodeFile(content);
    QString body;
    body.reserve(text.size());
    for (qsizetype start = 0; start < text.size();) {
        qsizetype end = start;
        while (end < text.size() && text[end] != QLatin1Char('\r') &&
               text[end] != QLatin1Char('\n'))
            ++end;
        body += QStringView(text).sliced(start, end - start);
        body += QLatin1String("\r\n");
        start = end + (QStringView(text).sliced(end).startsWith(QLatin1String("\r\n")) ? 2 : 1);
    }
    return body;
}
