#include "frmmerge.h"

#include "listdialogs.h"
#include "ui_frmmerge.h"

#include "operator.h"
#include "plaintooltip.h"
#include "storageerror.h"

namespace
{

/// Where a row and an entry keep the number of their list.
constexpr int listIdRole = Qt::UserRole;

} // namespace

frmMerge::frmMerge(Kind kind, const ProgramFolder &folder, Operator &op, Yield &yield,
                   QWidget *parent)
    : WorkDialog(parent)
    , m_ui(std::make_unique<Ui::frmMerge>())
    , m_kind(kind)
    , m_catalogue(folder)
    , m_op(op)
    , m_copy(folder, op, *this, yield)
{
    m_ui->setupUi(this);
    const bool merges = kind == Kind::Merge;
    setWindowTitle(merges ? tr("Merge Maillists") : tr("Append Maillists"));
    m_ui->Frame1->setTitle(merges ? tr(" Select Maillists to be merged: ")
                                  : tr(" Select Maillists: "));
    m_ui->cmdOK->setText(merges ? tr("&Merge") : tr("A&ppend"));
    if (!merges)
        setObjectName(QStringLiteral("frmAppend"));
    m_ui->Combo1->setCompleter(nullptr);
    for (QWidget *box : std::initializer_list<QWidget *>{m_ui->txtListname, m_ui->Combo1}) {
        box->setVisible(merges);
        m_ui->formLayout->labelForField(box)->setVisible(merges);
    }
    m_ui->combMaillist->setVisible(!merges);
    m_ui->formLayout->labelForField(m_ui->combMaillist)->setVisible(!merges);
    m_ui->ListView1->setHeaderLabel(tr("List Name"));
    m_ui->logBox->setUp(op, [&folder](const QString &path) { folder.refuseOwnFile(path); });
    connect(m_ui->cmdOK, &QPushButton::clicked, this, &frmMerge::copy);
    connect(m_ui->cmdAbort, &QPushButton::clicked, this, &frmMerge::abortWork);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &frmMerge::reject);
    setRunning(false);
}

frmMerge::~frmMerge() = default;

QString frmMerge::entry(const MailList &list)
{
    return QString::number(list.id) + QLatin1Char('-') + list.name;
}

bool frmMerge::run(const QString &target)
{
    m_isComplete = false;
    try {
        list_refresh();
        LoadListType(*m_ui->Combo1, m_catalogue);
    } catch (const StorageError &e) {
        m_op.tell(e.report(QStringLiteral("Error #  ")), tr("Error"));
        return false;
    }
    m_ui->txtListname->clear();
    m_ui->Combo1->setCurrentText(tr("Customer"));
    if (const int entry = m_ui->combMaillist->findText(target, Qt::MatchExactly); entry >= 0)
        m_ui->combMaillist->setCurrentIndex(entry);
    focusFirst();
    exec();
    return m_isComplete;
}

/// To what is to be filled in first, of what is still empty.
void frmMerge::focusFirst()
{
    const bool needsName = m_kind == Kind::Merge && m_ui->txtListname->text().isEmpty();
    (needsName ? static_cast<QWidget *>(m_ui->txtListname) : m_ui->ListView1)->setFocus();
}

void frmMerge::list_refresh()
{
    const std::vector<MailList> lists = m_catalogue.lists();
    m_ui->ListView1->clear();
    m_ui->combMaillist->clear();
    for (const MailList &list : lists) {
        auto *row = new QTreeWidgetItem(m_ui->ListView1, {entry(list)});
        row->setData(0, listIdRole, list.id);
        row->setCheckState(0, Qt::Unchecked);
        row->setToolTip(0, plainToolTip(entry(list)));
        m_ui->combMaillist->addItem(entry(list), list.id);
    }
    showStatus({});
    showCount({});
    showLog(false);
}

std::vector<ListCopy::Source> frmMerge::tickedLists() const
{
    std::vector<ListCopy::Source> lists;
    for (int i = 0; i < m_ui->ListView1->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *row = m_ui->ListView1->topLevelItem(i);
        if (row->checkState(0) == Qt::Checked)
            lists.push_back({row->data(0, listIdRole).toLongLong(), row->text(0)});
    }
    return lists;
}

void frmMerge::copy()
{
    if (m_ui->ListView1->topLevelItemCount() == 0)
        return;
    setRunning(true);
    const ListCopy::Result result =
        m_kind == Kind::Merge
            ? m_copy.merge(tickedLists(), m_ui->txtListname->text(), m_ui->Combo1->currentText())
            : m_copy.append(tickedLists(), m_ui->combMaillist->currentData().toLongLong());
    setRunning(false);
    if (result == ListCopy::Result::Refused)
        focusFirst();
    m_isComplete = m_isComplete || result == ListCopy::Result::Complete;
}

void frmMerge::setRunning(bool isRunning)
{
    for (QWidget *widget : std::initializer_list<QWidget *>{
             m_ui->cmdOK, m_ui->combMaillist, m_ui->txtListname, m_ui->Combo1, m_ui->ListView1,
             m_ui->logBox->saveButton()})
        widget->setEnabled(!isRunning);
    m_ui->cmdAbort->setEnabled(isRunning);
}

/// The log stands in the place of the lists.
void frmMerge::showLog(bool isShown)
{
    m_ui->ListView1->setVisible(!isShown);
    m_ui->logBox->setVisible(isShown);
}

void frmMerge::clearLog()
{
    m_ui->logBox->clear();
    showLog(true);
}

void frmMerge::appendLog(const QString &text)
{
    m_ui->logBox->append(text);
}

void frmMerge::showStatus(const QString &text)
{
    m_ui->lbStatus->setText(text);
}

void frmMerge::showCount(const QString &text)
{
    m_ui->lbMergeCount->setText(text);
}

/// Left during a copy, the window is gone before the operator is told that it was ended.
void frmMerge::showWaiting(bool waiting)
{
    setWorking(waiting);
}
