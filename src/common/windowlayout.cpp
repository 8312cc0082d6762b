#include "windowlayout.h"

#include <QSettings>
#include <QWidget>

namespace
{

/// Window places are kept apart from the settings, which a person may edit by hand.
QSettings layoutStore()
{
    return QSettings(QStringLiteral("Quillbright"), QStringLiteral("Windows"));
}

QString geometryKey(const QWidget &window)
{
    return window.objectName() + QStringLiteral("/geometry");
}

QString columnsKey(const QWidget &window)
{
    return window.objectName() + QStringLiteral("/columns");
}

} // namespace

void restoreWindowLayout(QWidget &window)
{
    window.restoreGeometry(layoutStore().value(geometryKey(window)).toByteArray());
}

void saveWindowLayout(const QWidget &window)
{
    layoutStore().setValue(geometryKey(window), window.saveGeometry());
}

QByteArray savedColumns(const QWidget &window)
{
    return layoutStore().value(columnsKey(window)).toByteArray();
}

void saveColumns(const QWidget &window, const QByteArray &columns)
{
    layoutStore().setValue(columnsKey(window), columns);
}
