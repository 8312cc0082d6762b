#pragma once

#include <QString>

class ListCatalogue;
class Operator;
class QComboBox;
class QLineEdit;

/// What the dialogs about a list's name and type share.

/// Adds the types in use to those the box offers. Throws StorageError.
void LoadListType(QComboBox &types, const ListCatalogue &catalogue);

/// Tells, under `title`, when the name or the type is missing, and leads there; false then.
bool isListComplete(QLineEdit &name, QComboBox &type, Operator &op, const QString &title);
