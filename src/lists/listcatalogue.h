#pragma once

#include "programfolder.h"
#include "recipientquery.h"

#include <QStringList>

#include <functional>
#include <vector>

class Connection;

/// A row of the catalogue, as it is shown.
struct MailList {
    qint64 id = 0;
    QString name;
    QString type;
    QString created; ///< "yyyy/mm/dd"
    QString count;   ///< of recipients, as last stored; empty where it is not known
};

/// The mail lists: their rows in the catalogue and their database files, which are made and removed
/// together. All functions throw StorageError.
class ListCatalogue
{
public:
    /// In the order of the search box.
    enum SearchField { ListName, Type, EmailAddress };
    /// Whether a job uses the list; asked on the connection that removes it.
    using InUse = std::function<bool(Connection &system, qint64 listId)>;
    /// Is told why a list was left out of a search.
    using Tell = std::function<void(const QString &description)>;

    explicit ListCatalogue(const ProgramFolder &folder);

    std::vector<MailList> lists() const { return select({}); }
    /// By number. "%" and "_" in the text match anything. A search for addresses opens every list's
    /// database; the lists whose database cannot be read are told and left out.
    std::vector<MailList> search(SearchField field, const QString &text, const Tell &tell) const;
    /// The types in use, by name.
    QStringList types() const;

    /// Makes an empty list and returns its number. Where its database cannot be made, no row stays.
    qint64 create(const QString &name, const QString &type) const;
    /// Makes a list "Copy of ..." with the recipients of `list` as they are, and returns its
    /// number. Where the database cannot be copied, no row stays.
    qint64 duplicate(const MailList &list) const;
    void rename(qint64 listId, const QString &name, const QString &type) const;
    /// How many recipients the list's database holds, whatever count is stored.
    qint64 countRecipients(qint64 listId, const RecipientQuery &query = {}) const;
    /// How many runs the list's account tells of, which goes with the list.
    qint64 countRuns(qint64 listId) const;
    /// False, and nothing is removed, when the list is in use. A missing database is passed over.
    bool remove(qint64 listId, const InUse &isInUse) const;

private:
    std::vector<MailList> select(const QString &condition) const;
    qint64 add(const QString &name, const QString &type,
               const std::function<void(qint64 listId)> &makeDatabase) const;

    ProgramFolder m_folder;
};

/// Counts a list's recipients anew and stores the count in the catalogue, with the day as the time
/// of the list's last change. Returns the count. Throws StorageError.
qint64 storeRecipientCount(const ProgramFolder &folder, qint64 listId);
