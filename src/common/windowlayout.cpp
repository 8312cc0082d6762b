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

void restoreWindowLayout(QWidget &window, SortableList &list)
{
    const QSettings store = layoutStore();
    window.restoreGeometry(store.value(geometryKey(window)).toByteArray());
    list.restoreColumns(store.value(columnsKey(window)).toByteArray());
}

void saveWindowLayout(const QWidget &window, const SortableList &list)
{
    QSettings store = layoutStore();
    store.setValue(geometryKey(window), window.saveGeometry());
    store.setValue(columnsKey(window), list.saveColumns());
}
