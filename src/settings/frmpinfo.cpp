#include "frmpinfo.h"

#include "ui_frmpinfo.h"

#include "operator.h"
#include "settingsstore.h"
#include "storageerror.h"
#include "waitpointer.h"

#include <QApplication>
#include <QShowEvent>

#include <algorithm>
#include <array>

namespace
{

/// In the order of the box; behind them it has one for all others.
constexpr std::array presets = {SendLimits{}, SendLimits{.perMinute = 30},
                                SendLimits{.perDay = 500}, SendLimits{.perDay = 2000}};

} // namespace

frmPinfo::frmPinfo(const SettingsStore &store, Operator &op, QWidget *parent)
    : ButtonDialog(parent)
    , m_ui(std::make_unique<Ui::frmPinfo>())
    , m_store(store)
    , m_op(op)
{
    m_ui->setupUi(this);
    QFont heading = m_ui->lblHeading->font();
    heading.setPointSizeF(heading.pointSizeF() * 1.4);
    heading.setBold(true);
    m_ui->lblHeading->setFont(heading);
    // A press on a button leaves the focus where it is: if it took it from the password box, the
    // confirmation would come up under the pressed button and swallow the click.
    for (QAbstractButton *button : findChildren<QAbstractButton *>())
        button->setFocusPolicy(Qt::TabFocus);

    connect(m_ui->Command1, &QPushButton::clicked, this, &frmPinfo::apply);
    connect(m_ui->cmdClose, &QPushButton::clicked, this, &frmPinfo::closeWindow);
    connect(m_ui->chkLogin, &QCheckBox::toggled, this, &frmPinfo::enableLogin);
    connect(qApp, &QApplication::focusChanged, this, &frmPinfo::followFocus);
    m_ui->combLimits->addItems(
        {tr("No limit"), tr("30 a minute"), tr("500 a day"), tr("2,000 a day"), tr("Own limits")});
    connect(m_ui->combLimits, &QComboBox::activated, this, [this](int index) {
        if (size_t(index) < presets.size())
            setLimits(presets[size_t(index)]);
        showPreset();
    });
    for (const QSpinBox *box : {m_ui->spnMinute, m_ui->spnHour, m_ui->spnDay})
        connect(box, &QSpinBox::valueChanged, this, &frmPinfo::showPreset);
    SetInfo();
}

frmPinfo::~frmPinfo()
{
    // Its boxes lose the focus while they are destroyed, when nothing is left to follow it.
    disconnect(qApp, nullptr, this, nullptr);
}

SendLimits frmPinfo::limits() const
{
    return {m_ui->spnMinute->value(), m_ui->spnHour->value(), m_ui->spnDay->value()};
}

void frmPinfo::setLimits(const SendLimits &limits)
{
    m_ui->spnMinute->setValue(limits.perMinute);
    m_ui->spnHour->setValue(limits.perHour);
    m_ui->spnDay->setValue(limits.perDay);
}

/// Shows which of the usual limits those in the boxes are.
void frmPinfo::showPreset()
{
    const auto found = std::find(presets.begin(), presets.end(), limits());
    m_ui->combLimits->setCurrentIndex(int(found - presets.begin()));
}

Settings frmPinfo::current() const
{
    // The raw text, because the plain one turns no-break spaces into blanks.
    QString unsubscribed = m_ui->txtUList->document()->toRawText();
    unsubscribed.replace(QChar::LineSeparator, QChar::ParagraphSeparator);
    unsubscribed.replace(QChar::ParagraphSeparator, QLatin1String("\r\n"));
    return {.smtpServer = m_ui->txtSMTP->text(),
            .operatorAddress = m_ui->txtOperator->text(),
            .account = m_ui->txtUsername->text(),
            .password = m_ui->txtPassword->text(),
            .requireLogon = m_ui->chkLogin->isChecked(),
            .logOutgoing = m_ui->chkLog->isChecked(),
            .validateAddresses = m_ui->chkValidEmail->isChecked(),
            .limits = limits(),
            .rerunWaitMinutes = m_ui->spnRerunWait->value(),
            .unsubscribed = unsubscribed};
}

void frmPinfo::SetInfo()
{
    const WaitPointer pointer;
    const Settings stored = m_store.load();
    m_ui->txtSMTP->setText(stored.smtpServer);
    m_ui->txtOperator->setText(stored.operatorAddress);
    m_ui->txtUsername->setText(stored.account);
    m_ui->txtPassword->setText(stored.password);
    m_ui->chkLogin->setChecked(stored.requireLogon);
    m_ui->chkLog->setChecked(stored.logOutgoing);
    m_ui->chkValidEmail->setChecked(stored.validateAddresses);
    setLimits(stored.limits);
    showPreset();
    m_ui->spnRerunWait->setValue(stored.rerunWaitMinutes);
    m_ui->txtUList->setPlainText(stored.unsubscribed);
    enableLogin(stored.requireLogon);
    rememberPassword();
}

/// Every use begins with the server, the one thing without which nothing is sent.
void frmPinfo::showEvent(QShowEvent *event)
{
    if (!event->spontaneous()) {
        m_ui->TabStrip1->setCurrentWidget(m_ui->Frame1);
        m_ui->txtSMTP->setFocus();
    }
    ButtonDialog::showEvent(event);
}

void frmPinfo::apply()
{
    if (!confirmPassword())
        return;
    try {
        const WaitPointer pointer;
        Settings settings = current();
        // Where nobody typed in the list, its file may have grown meanwhile by other hands.
        if (!m_ui->txtUList->document()->isModified())
            settings.unsubscribed = m_store.load().unsubscribed;
        m_store.save(settings);
    } catch (const StorageError &e) {
        m_op.tell(e.description());
    }
}

void frmPinfo::closeWindow()
{
    if (!confirmPassword())
        return;
    SetInfo();
    hide();
}

void frmPinfo::enableLogin(bool enabled)
{
    for (QWidget *widget :
         std::initializer_list<QWidget *>{m_ui->lblLogin, m_ui->lblUsername, m_ui->txtUsername,
                                          m_ui->lblPassword, m_ui->txtPassword})
        widget->setEnabled(enabled);
}

void frmPinfo::followFocus(QWidget *old, QWidget *now)
{
    // Another program, or a menu of this one, borrows the focus and gives it back: only a move
    // within the window counts, and coming back does not renew what is remembered.
    if (now == m_ui->txtPassword && !m_remembered)
        rememberPassword();
    // Qt is still moving the focus; a dialog has to wait until it is done.
    if (old == m_ui->txtPassword && now && now->window() == this)
        QMetaObject::invokeMethod(this, &frmPinfo::confirmPassword, Qt::QueuedConnection);
}

/// Asks for a changed password again. False when the password is not the answer: the operator was
/// told, and is back in its box.
bool frmPinfo::confirmPassword()
{
    if (!m_remembered)
        return true;
    QLineEdit &box = *m_ui->txtPassword;
    // Taken first: while the question is open nothing may ask it again.
    const QString before = *std::exchange(m_remembered, std::nullopt);
    bool confirmed = true;
    if (box.text() != before) {
        const QString title = tr("Password Confirm");
        const QString answer = m_op.inputPassword(tr("Password"), title);
        if (answer.isEmpty())
            box.setText(before);
        confirmed = box.text() == answer;
        if (!confirmed) {
            m_op.tell(tr("Password incorrect, please enter again !"), title);
            m_ui->TabStrip1->setCurrentWidget(m_ui->Frame1);
            box.setFocus();
        }
    }
    rememberPassword();
    return confirmed;
}

void frmPinfo::rememberPassword()
{
    m_remembered.reset();
    if (m_ui->txtPassword->hasFocus())
        m_remembered = m_ui->txtPassword->text();
}
