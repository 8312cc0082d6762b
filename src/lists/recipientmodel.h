#pragma once

#include "keysetmodel.h"
#include "recipientquery.h"

#include <QMap>

/// The recipients of a list for a grid: nine columns, and after load() one more row while one is
/// added.
///
/// What is typed into a row is kept aside until saveChanges(); one row at a time can be changed.
class RecipientModel final : public KeysetModel
{
    Q_OBJECT

public:
    using KeysetModel::KeysetModel;

    /// Throws StorageError, and then holds no rows. Changes that were not saved are lost.
    void load(const QString &listConnectionString, const RecipientQuery &query);

    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    /// Adds an empty row at the end, which becomes a recipient when it is saved. Earlier changes
    /// must have been saved, and the rows be loaded. Throws StorageError.
    void addRow();
    /// Whether the accounts of runs have the address of the row's recipient, or with -1 that of
    /// anybody. Throws StorageError.
    bool isAccountedFor(int row) const;
    /// Deletes the recipient of the row. `forget`: the accounts of runs forget the address and the
    /// replies too. Throws StorageError.
    void deleteRow(int row, bool forget);
    /// Deletes the recipients of the list, also those that the query does not select; the rows stay
    /// until the next load. Throws StorageError.
    void deleteAll(bool forget);
    /// The row with changes that are not saved, or the added one; -1 where there is none.
    int changedRow() const { return m_changedRow; }
    /// Writes the changes to the list's database. An added row into which nothing was typed goes
    /// away. Throws StorageError, and then keeps the changes.
    void saveChanges();
    /// Shows the changed row as it is in the database; an added row goes away.
    void cancelChanges();

private:
    void update();
    qint64 insert();
    void noteStatus(Connection &list, qint64 mid) const;
    void deleteRecipients(const QString &condition, bool forget);
    void dropRow(int row);
    bool isAdded(int row) const { return m_isAdded && row == m_changedRow; }
    QString text(const QModelIndex &index) const;

    QString m_listConnectionString;
    int m_changedRow = -1;
    bool m_isAdded = false;       ///< the changed row is not in the database yet
    QMap<int, QString> m_changes; ///< new texts, by the field's number as in RecipientQuery
};
