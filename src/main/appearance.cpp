#include "appearance.h"

#include <QApplication>
#include <QIcon>
#include <QPalette>

void setUpAppearance()
{
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/quillbright.svg")));
    const bool isDark = QApplication::palette().window().color().lightness() < 128;
    const QString breeze = isDark ? QStringLiteral("breeze-dark") : QStringLiteral("breeze");
    QIcon::setFallbackThemeName(breeze);
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QLatin1String("hicolor"))
        QIcon::setThemeName(breeze);
}
