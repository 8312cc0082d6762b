#pragma once

#include "recipientquery.h"
#include "recordkeys.h"

#include <QDialog>

#include <functional>
#include <memory>

class Operator;
class ProgramFolder;
class QLabel;

namespace Ui
{
class frmemail;
}

/// The recipient browser: reads, searches, edits, adds and deletes the recipients of one list. It
/// is made once and hidden between uses.
///
/// A row is written to the list when the person leaves it or chooses "Update"; one that the list
/// refuses stays in the grid as it was typed.
class frmemail final : public QDialog
{
    Q_OBJECT

public:
    /// `folder` and `op` must outlive the window.
    frmemail(const ProgramFolder &folder, Operator &op, QWidget *parent = nullptr);
    ~frmemail() override;

    /// Reads a list's recipients, all of them and in the list's order. False when they could not
    /// be read: the operator was told, and the window is not to be shown.
    bool Load_db(const QString &listConnectionString, const QString &listName, qint64 listId);
    /// Searches as if the person had chosen the field (1 to 9 as in RecipientQuery) and typed the
    /// text.
    void search(int field, const QString &text);

public slots:
    /// Saves what is typed, stores the list's count in the catalogue, and closes. A refused row
    /// keeps the window open.
    void reject() override;

protected:
    void hideEvent(QHideEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void connectCommands();
    bool reload();
    void setEditing(bool isEditing);
    void addRecord();
    void editRecord();
    void updateRecord();
    void undo();
    void deleteRecord();
    void trunc();
    void move(RecordMove move);
    void goToRow(int row);
    bool saveRow();
    void saveLeftRow();
    void storeCount();
    void showPosition();
    /// Runs a step of a command; false when it failed, and the operator was told.
    bool attempt(const std::function<void()> &step);

    const ProgramFolder &m_folder;
    Operator &m_op;
    std::unique_ptr<Ui::frmemail> m_ui;
    QLabel *m_position;
    QLabel *m_command;
    QString m_listConnectionString;
    qint64 m_listId = 0;
    bool m_isEditing = false; ///< between Edit and Update or Undo
};
