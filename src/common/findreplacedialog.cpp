#include "findreplacedialog.h"

#include "ui_findreplacedialog.h"

#include "findreplace.h"

FindReplaceDialog::FindReplaceDialog(Operator &op, QWidget *owner)
    : QDialog(owner)
    , m_ui(std::make_unique<Ui::FindReplaceDialog>())
    , m_op(op)
{
    m_ui->setupUi(this);
    connect(m_ui->txtFind, &QLineEdit::textChanged, this, &FindReplaceDialog::updateButtons);
    connect(m_ui->cmdFindNext, &QPushButton::clicked, this, &FindReplaceDialog::findNext);
    connect(m_ui->cmdReplace, &QPushButton::clicked, this, &FindReplaceDialog::replace);
    connect(m_ui->cmdReplaceAll, &QPushButton::clicked, this, &FindReplaceDialog::replaceAll);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &FindReplaceDialog::reject);
    connect(this, &QDialog::finished, this, [this] { m_target = nullptr; });
    updateButtons();
}

FindReplaceDialog::~FindReplaceDialog() = default;

void FindReplaceDialog::openFor(Mode mode, TextTarget &target)
{
    if (m_target != &target || m_mode != mode) {
        m_mode = mode;
        m_target = &target;
        const bool isReplace = mode == Mode::Replace;
        setWindowTitle(isReplace ? tr("Replace") : tr("Find"));
        m_ui->txtFind->clear();
        m_ui->txtReplace->clear();
        m_ui->chkWholeWord->setChecked(false);
        m_ui->chkMatchCase->setChecked(false);
        for (QWidget *widget : std::initializer_list<QWidget *>{
                 m_ui->lblReplace, m_ui->txtReplace, m_ui->cmdReplace, m_ui->cmdReplaceAll})
            widget->setVisible(isReplace);
        m_ui->fmDirection->setVisible(!isReplace);
        adjustSize();
    }
    m_ui->optDown->setChecked(true);
    show();
    raise();
    activateWindow();
    m_ui->txtFind->setFocus();
    m_ui->txtFind->selectAll();
}

void FindReplaceDialog::findNext()
{
    ::findNext(*m_target, m_op, terms());
}

void FindReplaceDialog::replace()
{
    ::replaceAndFindNext(*m_target, m_op, terms());
}

void FindReplaceDialog::replaceAll()
{
    ::replaceAll(*m_target, terms());
}

SearchTerms FindReplaceDialog::terms() const
{
    SearchTerms terms(m_ui->txtFind->text(), m_ui->txtReplace->text());
    terms.wholeWord = m_ui->chkWholeWord->isChecked();
    terms.matchCase = m_ui->chkMatchCase->isChecked();
    // Replacing goes down always.
    terms.up = m_mode == Mode::Find && m_ui->optUp->isChecked();
    return terms;
}

void FindReplaceDialog::updateButtons()
{
    for (QPushButton *button : {m_ui->cmdFindNext, m_ui->cmdReplace, m_ui->cmdReplaceAll})
        button->setEnabled(!m_ui->txtFind->text().isEmpty());
}
