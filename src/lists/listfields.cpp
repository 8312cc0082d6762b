#include "listfields.h"

#include "listcatalogue.h"
#include "operator.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QLineEdit>

void LoadListType(QComboBox &types, const ListCatalogue &catalogue)
{
    for (const QString &type : catalogue.types()) {
        if (types.findText(type, Qt::MatchExactly | Qt::MatchCaseSensitive) < 0)
            types.addItem(type);
    }
}

bool isListComplete(QLineEdit &name, QComboBox &type, Operator &op, const QString &title)
{
    if (!name.text().isEmpty() && !type.currentText().isEmpty())
        return true;
    op.tell(QCoreApplication::translate("listfields", "ListName and ListType cannot be empty !"),
            title);
    if (name.text().isEmpty())
        name.setFocus();
    else
        type.setFocus();
    return false;
}
