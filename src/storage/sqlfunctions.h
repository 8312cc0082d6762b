#pragma once

struct sqlite3;

/// Adds the functions that the program's statements expect and SQLite lacks or does differently:
/// ucase(text) for all letters, date() as the local date (yyyy-mm-dd), and a `like` that ignores
/// the case of all letters, not only of a to z.
void addSqlFunctions(sqlite3 *database);
