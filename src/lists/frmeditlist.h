#pragma once

#include "listcatalogue.h"

#include <QDialog>

#include <memory>

class Operator;

namespace Ui
{
class frmEditList;
}

/// The dialog about a list's name and type. It is made once and hidden between uses.
class frmEditList final : public QDialog
{
    Q_OBJECT

public:
    /// `op` must outlive the window.
    explicit frmEditList(Operator &op, QWidget *parent = nullptr);
    ~frmEditList() override;

    /// Shows the dialog for `list`, which gets the name and type as typed; true for "Save".
    bool edit(MailList &list);

private:
    std::unique_ptr<Ui::frmEditList> m_ui;
    Operator &m_op;
};
