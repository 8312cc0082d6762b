#include "htmlview.h"

#include <QDesktopServices>
#include <QUrl>

void openLink(const QUrl &url)
{
    static const QStringList schemes = {QStringLiteral("http"), QStringLiteral("https"),
                                        QStringLiteral("mailto")};
    if (schemes.contains(url.scheme()))
        QDesktopServices::openUrl(url);
}
