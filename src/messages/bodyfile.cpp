#include "bodyfile.h"

#include "storageerror.h"
#include "textdecoding.h"

#include <QFile>

namespace
{

/// Far beyond any message, and about as much as can be edited.
constexpr qint64 maximumSize = qint64{16} * 1024 * 1024;

} // namespace

QString readBodyFile(const QString &path)
{
    QFile file(path);
    openToRead(file);
    if (file.size() > maximumSize)
        cannotRead(path, QStringLiteral("It is larger than 16 MB"));
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        cannotRead(path, file.errorString());

    const QString crLf = QStringLiteral("\r\n");
    const QString lf = QStringLiteral("\n");
    QString text = decodeFile(content).replace(crLf, lf).replace(QLatin1Char('\r'), lf);
    if (!text.isEmpty() && !text.endsWith(lf))
        text += lf;
    return text.replace(lf, crLf);
}
