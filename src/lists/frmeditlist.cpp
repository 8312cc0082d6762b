#include "frmeditlist.h"

#include "listfields.h"
#include "ui_frmeditlist.h"

frmEditList::frmEditList(Operator &op, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmEditList>())
    , m_op(op)
{
    m_ui->setupUi(this);
    m_ui->Combo1->setCompleter(nullptr);
    connect(m_ui->Command3, &QPushButton::clicked, this, [this] {
        if (isListComplete(*m_ui->Text1, *m_ui->Combo1, m_op, tr("Edit Mailist")))
            accept();
    });
    connect(m_ui->Command2, &QPushButton::clicked, this, &frmEditList::reject);
}

frmEditList::~frmEditList() = default;

bool frmEditList::edit(MailList &list)
{
    m_ui->Text1->setText(list.name);
    m_ui->Combo1->setCurrentText(list.type);
    m_ui->Text1->setFocus();
    m_ui->Text1->selectAll();
    if (exec() != Accepted)
        return false;
    list.name = m_ui->Text1->text();
    list.type = m_ui->Combo1->currentText();
    return true;
}
