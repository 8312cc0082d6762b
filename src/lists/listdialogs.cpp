#include "listdialogs.h"

#include "ui_frmeditlist.h"
#include "ui_frmnewlist.h"

#include "operator.h"
#include "storageerror.h"

namespace
{

/// Tells, under `title`, when the name or the type is missing, and leads there; false then.
bool isListComplete(QLineEdit &name, QComboBox &type, Operator &op, const QString &title)
{
    if (!name.text().isEmpty() && !type.currentText().isEmpty())
        return true;
    op.tell(frmNewList::tr("ListName and ListType cannot be empty !"), title);
    if (name.text().isEmpty())
        name.setFocus();
    else
        type.setFocus();
    return false;
}

} // namespace

void LoadListType(QComboBox &types, const ListCatalogue &catalogue)
{
    for (const QString &type : catalogue.types()) {
        if (types.findText(type, Qt::MatchExactly | Qt::MatchCaseSensitive) < 0)
            types.addItem(type);
    }
}

frmNewList::frmNewList(const ProgramFolder &folder, Operator &op, Import import, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmNewList>())
    , m_catalogue(folder)
    , m_op(op)
{
    m_ui->setupUi(this);
    // A type is completed as it is spelled, not to one that differs in case.
    m_ui->Combo1->setCompleter(nullptr);
    connect(m_ui->Command3, &QPushButton::clicked, this, [this] {
        if (create())
            accept();
    });
    connect(m_ui->cmdImport, &QPushButton::clicked, this, [this, import = std::move(import)] {
        if (!create())
            return;
        import(m_listId, m_ui->Text1->text());
        accept();
    });
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

void frmNewList::tellFailure(const StorageError &error)
{
    m_op.tell(error.report(QStringLiteral("New Maillist Error #  ")), tr("Error"));
}

frmEditList::frmEditList(Operator &op, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmEditList>())
{
    m_ui->setupUi(this);
    m_ui->Combo1->setCompleter(nullptr);
    connect(m_ui->Command3, &QPushButton::clicked, this, [this, &op] {
        if (isListComplete(*m_ui->Text1, *m_ui->Combo1, op, tr("Edit Mailist")))
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
