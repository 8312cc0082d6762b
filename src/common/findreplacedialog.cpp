#include "findreplacedialog.h"

#include "ui_findreplacedialog.h"

#include "findreplace.h"

#include <QEvent>
#include <QWindow>

FindReplaceDialog::FindReplaceDialog(TextTarget &target, Operator &op, QWidget *owner)
    : QDialog(owner)
    , m_ui(std::make_unique<Ui::FindReplaceDialog>())
    , m_target(target)
    , m_op(op)
{
    m_ui->setupUi(this);
    connect(m_ui->txtFind, &QLineEdit::textChanged, this, &FindReplaceDialog::updateButtons);
    connect(m_ui->cmdFindNext, &QPushButton::clicked, this,
            [this] { findNext(m_target, m_op, terms()); });
    connect(m_ui->cmdReplace, &QPushButton::clicked, this,
            [this] { replaceAndFindNext(m_target, m_op, terms()); });
    connect(m_ui->cmdReplaceAll, &QPushButton::clicked, this,
            [this] { replaceAll(m_target, terms()); });
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &FindReplaceDialog::reject);
    updateButtons();
}

FindReplaceDialog::~FindReplaceDialog() = default;

void FindReplaceDialog::openAs(Mode mode)
{
    if (!isVisible() || m_mode != mode) {
        m_mode = mode;
        const bool isReplace = mode == Mode::Replace;
        setWindowTitle(isReplace ? tr("Replace") : tr("Find"));
        m_ui->chkWholeWord->setChecked(false);
        m_ui->chkMatchCase->setChecked(false);
        for (QWidget *widget : std::initializer_list<QWidget *>{
                 m_ui->lblReplace, m_ui->txtReplace, m_ui->cmdReplace, m_ui->cmdReplaceAll})
            widget->setVisible(isReplace);
        m_ui->fmDirection->setVisible(!isReplace);
        adjustSize();
    }
    m_ui->optDown->setChecked(true);
    QWidget *owner = parentWidget();
    if (!testAttribute(Qt::WA_Moved)) // beside the text rather than over it
        move(owner->geometry().right() - width(), owner->geometry().top());
    owner->windowHandle()->installEventFilter(this);
    show();
    raise();
    activateWindow();
    m_ui->cmdFindNext->setDefault(true); // and not the button that closed the dialog
    m_ui->txtFind->setFocus();
    m_ui->txtFind->selectAll();
}

void FindReplaceDialog::findAgain(bool up)
{
    if (m_ui->txtFind->text().isEmpty()) {
        openAs(Mode::Find);
        return;
    }
    SearchTerms again = terms();
    again.up = up;
    findNext(m_target, m_op, again);
}

/// A modal owner is put above this dialog by some desktops, though the dialog belongs to it.
bool FindReplaceDialog::eventFilter(QObject *watched, QEvent *event)
{
    if (isVisible() &&
        (event->type() == QEvent::MouseButtonPress || event->type() == QEvent::FocusIn))
        raise();
    return QDialog::eventFilter(watched, event);
}

SearchTerms FindReplaceDialog::terms() const
{
    SearchTerms terms(m_ui->txtFind->text(), m_ui->txtReplace->text());
    terms.wholeWord = m_ui->chkWholeWord->isChecked();
    terms.matchCase = m_ui->chkMatchCase->isChecked();
    terms.up = m_ui->optUp->isChecked(); // never where it is hidden
    return terms;
}

void FindReplaceDialog::updateButtons()
{
    for (QPushButton *button : {m_ui->cmdFindNext, m_ui->cmdReplace, m_ui->cmdReplaceAll})
        button->setEnabled(!m_ui->txtFind->text().isEmpty());
}
