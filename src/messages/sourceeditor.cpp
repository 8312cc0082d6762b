#include "sourceeditor.h"

#include "ui_sourceeditor.h"

#include "findreplacedialog.h"
#include "keystates.h"
#include "toolbarkeys.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QShortcut>
#include <QToolButton>

namespace
{

/// What a person starts to write in, installed or not: the desktop then takes the font it has
/// instead.
const QLatin1String initialFont("Arial");
const QLatin1String initialSize("10");

enum Panel : size_t { LinePanel, LinesPanel, CapsPanel, NumPanel, InsPanel, KeyPanels = CapsPanel };

QString grouped(int number)
{
    QLocale locale;
    // The plain locale groups as well here.
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);
    return locale.toString(number);
}

} // namespace

SourceEditor::SourceEditor(Operator &op, QWidget *parent)
    : QWidget(parent)
    , m_ui(std::make_unique<Ui::SourceEditor>())
    , m_op(op)
    , m_keyStates(new KeyStates(this))
{
    m_ui->setupUi(this);
    connectToolbar();
    addFields();
    letTabReachButtons(*m_ui->Toolbar2);
    setTabOrder(m_ui->Toolbar2->widgetForAction(m_ui->Insert), m_ui->cbFonts);
    setTabOrder(m_ui->cbFonts, m_ui->cbFontSize);
    fillFonts();
    addStatusPanels();

    BodyEdit *body = m_ui->txtSource;
    body->installEventFilter(this);
    connect(body, &BodyEdit::findRequested, m_ui->Find, &QAction::trigger);
    connect(body, &QPlainTextEdit::textChanged, this, &SourceEditor::GetCurrentLine);
    connect(body, &QPlainTextEdit::cursorPositionChanged, this, &SourceEditor::GetCurrentLine);
    connect(m_keyStates, &KeyStates::changed, this, &SourceEditor::showKeyStates);
    GetCurrentLine();
    showKeyStates();
}

SourceEditor::~SourceEditor() = default;

BodyEdit &SourceEditor::text() const
{
    return *m_ui->txtSource;
}

void SourceEditor::hideEvent(QHideEvent *event)
{
    if (m_find)
        m_find->reject();
    QWidget::hideEvent(event);
}

void SourceEditor::connectToolbar()
{
    BodyEdit *body = m_ui->txtSource;
    connect(m_ui->Open, &QAction::triggered, this, &SourceEditor::openRequested);
    connect(m_ui->OpenWeb, &QAction::triggered, this, &SourceEditor::openWebRequested);
    connect(m_ui->Cut, &QAction::triggered, body, &BodyEdit::cut);
    connect(m_ui->Copy, &QAction::triggered, body, &BodyEdit::copy);
    connect(m_ui->Paste, &QAction::triggered, body, &BodyEdit::paste);
    connect(m_ui->Find, &QAction::triggered, this,
            [this] { findDialog().openAs(FindReplaceDialog::Mode::Find); });
    connect(m_ui->Replace, &QAction::triggered, this,
            [this] { findDialog().openAs(FindReplaceDialog::Mode::Replace); });
    connect(m_ui->Undo, &QAction::triggered, body, &BodyEdit::Undo);
    connect(m_ui->Redo, &QAction::triggered, body, &BodyEdit::Redo);
    for (QAction *action : {m_ui->Cut, m_ui->Copy}) {
        action->setEnabled(false);
        connect(body, &QPlainTextEdit::copyAvailable, action, &QAction::setEnabled);
    }

    for (const bool up : {false, true}) {
        auto *again = new QShortcut(up ? QKeySequence::FindPrevious : QKeySequence::FindNext, body);
        again->setContext(Qt::ApplicationShortcut); // in the find dialog as well
        connect(again, &QShortcut::activated, this, [this, up] { findDialog().findAgain(up); });
    }

    // The box's own menu speaks of its own history.
    auto *selectAll = new QAction(tr("Select All"), this);
    connect(selectAll, &QAction::triggered, body, &BodyEdit::selectAll);
    body->setContextMenuPolicy(Qt::ActionsContextMenu);
    body->addActions({m_ui->Undo, m_ui->Redo, m_ui->Cut, m_ui->Copy, m_ui->Paste, selectAll,
                      m_ui->Find, m_ui->Replace, m_ui->Insert});
}

/// The menu of the merge fields.
void SourceEditor::addFields()
{
    struct Field {
        const char *key;
        QString caption;
        const char *inserted;
    };
    const Field fields[] = {
        {"mDate", tr("Insert Date"), "%%SEND_DATE%%"},
        {"mEmail", tr("Insert Email"), "%%EMAIL%%"},
        {"mFirstname", tr("Insert Firstname"), "%%FIRSTNAME%%"},
        {"mLastname", tr("Insert Lastname"), "%%LASTNAME%%"},
        {"mTitle", tr("Insert Title"), "%%TITLE%%"},
        {"mContact", tr("Insert Contact"), "%%CONTACT%%"},
        {"mCompany", tr("Insert Company"), "%%COMPANY%%"},
        {"mMemo", tr("Insert Memo"), "%%MEMO%%"},
    };
    auto *menu = new QMenu(this);
    for (const Field &field : fields) {
        QAction *action = menu->addAction(field.caption);
        action->setObjectName(QLatin1String(field.key));
        connect(action, &QAction::triggered, this, [this, text = QLatin1String(field.inserted)] {
            m_ui->txtSource->replaceSelection(text);
            m_ui->txtSource->setFocus();
        });
    }
    m_ui->Insert->setMenu(menu);
    auto *button = qobject_cast<QToolButton *>(m_ui->Toolbar2->widgetForAction(m_ui->Insert));
    button->setPopupMode(QToolButton::InstantPopup);
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
}

void SourceEditor::fillFonts()
{
    QStringList families = QFontDatabase::families();
    if (!families.contains(initialFont))
        families.prepend(initialFont);
    m_ui->cbFonts->addItems(families);
    m_ui->cbFonts->setCurrentText(initialFont);
    m_ui->cbFontSize->setCurrentText(initialSize);
    applyFont();
    connect(m_ui->cbFonts, &QComboBox::currentIndexChanged, this, &SourceEditor::applyFont);
    connect(m_ui->cbFontSize, &QComboBox::currentIndexChanged, this, &SourceEditor::applyFont);
}

void SourceEditor::applyFont()
{
    QFont font(m_ui->cbFonts->currentText(), m_ui->cbFontSize->currentText().toInt());
    font.setBold(false);
    m_ui->txtSource->setFont(font);
}

void SourceEditor::addStatusPanels()
{
    for (size_t i = 0; i < m_panels.size(); ++i) {
        auto *label = new QLabel(m_ui->StatusBar1);
        label->setObjectName(QStringLiteral("Panel%1").arg(i + 1));
        label->setMargin(2);
        m_ui->StatusBar1->addWidget(label, i < KeyPanels ? 1 : 0);
        m_panels[i] = label;
    }
    m_panels[CapsPanel]->setText(tr("CAPS"));
    m_panels[CapsPanel]->setToolTip(tr("Lit while Caps Lock is on"));
    m_panels[NumPanel]->setText(tr("NUM"));
    m_panels[NumPanel]->setToolTip(tr("Lit while Num Lock is on"));
    m_panels[InsPanel]->setText(tr("INS"));
    m_panels[InsPanel]->setToolTip(tr("Lit while typing inserts; the Insert key changes to "
                                      "overwriting and back"));
}

FindReplaceDialog &SourceEditor::findDialog()
{
    if (!m_find)
        m_find = new FindReplaceDialog(*m_ui->txtSource, m_op, window());
    return *m_find;
}

bool SourceEditor::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_ui->txtSource || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto &key = static_cast<const QKeyEvent &>(*event);
    m_keyStates->observe(key);
    if (key.key() != Qt::Key_Insert || (key.modifiers() & ~Qt::KeypadModifier))
        return false;
    m_ui->txtSource->setOverwriteMode(!m_ui->txtSource->overwriteMode());
    showKeyStates();
    return true;
}

void SourceEditor::GetCurrentLine()
{
    const BodyEdit *body = m_ui->txtSource;
    m_panels[LinePanel]->setText(tr("Current Line:") +
                                 grouped(body->textCursor().blockNumber() + 1));
    m_panels[LinesPanel]->setText(tr("Total Line:") + grouped(body->blockCount()));
}

void SourceEditor::showKeyStates()
{
    m_panels[CapsPanel]->setEnabled(m_keyStates->capsLock());
    m_panels[NumPanel]->setEnabled(m_keyStates->numLock());
    m_panels[InsPanel]->setEnabled(!m_ui->txtSource->overwriteMode());
}
