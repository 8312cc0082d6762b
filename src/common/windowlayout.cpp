#include "windowlayout.h"

#include "sortablelist.h"

#include <QSettings>

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

void restoreWindowLayout(QWidget &window, SortableList &list)
{
    restoreWindowLayout(window);
    list.restoreColumns(layoutStore().value(columnsKey(window)).toByteArray());
}

void saveWindowLayout(const QWidget &window, const SortableList &list)
{
    saveWindowLayout(window);
    layoutStore().setValue(columnsKey(window), list.saveColumns());
}
