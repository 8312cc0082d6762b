#pragma once

#include "recipientquery.h"

#include <QWidget>

#include <memory>

class Operator;

namespace Ui
{
class fmMaillist;
}

/// The main window's Maillist tab: the recipients of the selected job's list, searched and sorted.
class MaillistPanel final : public QWidget
{
    Q_OBJECT

public:
    /// What the grid shows: a list and which of its recipients.
    struct Shown {
        QString listConnectionString; ///< empty before the first list
        RecipientQuery query;
    };

    explicit MaillistPanel(Operator &op, QWidget *parent = nullptr);
    ~MaillistPanel() override;

    /// Fills the grid with the list's recipients that the search bar asks for; without a list there
    /// is no grid. A failure is told, and leaves the grid without rows.
    void Load_db(const QString &listConnectionString);
    /// Empties the search and takes the order back, for another job.
    void resetSearch();
    const Shown &shown() const { return m_shown; }
    /// The buttons that open other windows.
    void enableCommands(bool enabled);

signals:
    /// The person wants the list read again, by what the search bar says now.
    void refreshRequested();
    void editRequested();
    void exportRequested();

private:
    Operator &m_operator;
    std::unique_ptr<Ui::fmMaillist> m_ui;
    Shown m_shown;
};
