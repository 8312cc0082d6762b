#pragma once

#include <QString>
#include <QStringList>

/// Which recipients of a list a search and a sort choice select, and in which order.
///
/// Fields are counted from 1 as in the search and sort boxes: email, first name, last name, title,
/// contact, company, memo, status, reason. Field 0 searches all of them and leaves the list's
/// order.
struct RecipientQuery {
    static constexpr int Email = 1;

    int searchField = 0;
    QString searchText;
    int sortField = 0;

    /// The fields' names in the boxes, from field 1.
    static QStringList fieldNames();
    /// The column titles of a grid, from field 1.
    static QStringList titles();
    /// The database's name of a field.
    static QString columnName(int field);
    /// The select list whose columns are the fields, in order and with their titles as names.
    static QString columns();

    /// " where ..." or, without a text, empty. "%" and "_" in the text match anything.
    QString condition() const;
    /// " order by ...".
    QString order() const;
};
