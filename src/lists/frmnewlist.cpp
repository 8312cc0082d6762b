#include "frmnewlist.h"

#include "listfields.h"
#include "ui_frmnewlist.h"

#include "operator.h"
#include "storageerror.h"

frmNewList::frmNewList(const ProgramFolder &folder, Operator &op, Import import, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmNewList>())
    , m_catalogue(folder)
    , m_op(op)
    , m_import(std::move(import))
{
    m_ui->setupUi(this);
    // A type is completed as it is spelled, not to one that differs in case.
    m_ui->Combo1->setCompleter(nullptr);
    connect(m_ui->Command3, &QPushButton::clicked, this, [this] {
        if (create())
            accept();
    });
    connect(m_ui->cmdImport, &QPushButton::clicked, this, &frmNewList::createAndImport);
    connect(m_ui->Command2, &QPushButton::clicked, this, &frmNewList::reject);
}

frmNewList::~frmNewList() = default;

qint64 frmNewList::createList()
{
    m_ui->Text1->clear();
    m_listId = 0;
    try {
        LoadListType(*m_ui->Combo1, m_catalogue);
    } catch (const StorageError &e) {
        tellFailure(e);
        return 0;
    }
    m_ui->Combo1->setCurrentText(tr("Customer"));
    m_ui->Text1->setFocus();
    exec();
    return m_listId;
}

/// False when nothing was made; the operator was told why.
bool frmNewList::create()
{
    if (!isListComplete(*m_ui->Text1, *m_ui->Combo1, m_op, tr("New Mailist")))
        return false;
    try {
        m_listId = m_catalogue.create(m_ui->Text1->text(), m_ui->Combo1->currentText());
    } catch (const StorageError &e) {
        tellFailure(e);
        return false;
    }
    return true;
}

void frmNewList::createAndImport()
{
    if (!create())
        return;
    m_import(m_listId, m_ui->Text1->text());
    accept();
}

void frmNewList::tellFailure(const StorageError &error)
{
    m_op.tell(error.report(QStringLiteral("New Maillist Error #  ")), tr("Error"));
}
