#pragma once

#include <QString>

/// Statements are built as text. A text value goes in between single quotes with every apostrophe
/// doubled; quoted() adds both. A NUL, which would end the statement, is left out of the value.
QString quoted(const QString &value);
