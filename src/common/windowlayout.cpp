#include "windowlayout.h"

#include <QScreen>

namespace
{

QString geometryKey(const QWidget &window)
{
    return window.objectName() + QStringLiteral("/geometry");
}

/// What a window manager puts around a window, of which it tells only when the window is up.
constexpr QSize frame{8, 36};

} // namespace

QSettings layoutStore()
{
    return QSettings(QStringLiteral("Quillbright"), QStringLiteral("Windows"));
}

void restoreWindowLayout(QWidget &window)
{
    if (!window.restoreGeometry(layoutStore().value(geometryKey(window)).toByteArray()))
        window.resize(window.size().boundedTo(window.screen()->availableSize() - frame));
}

void saveWindowLayout(const QWidget &window)
{
    layoutStore().setValue(geometryKey(window), window.saveGeometry());
}
