#pragma once

#include "settings.h"

#include <QDialog>

#include <memory>
#include <optional>

class Operator;
class SettingsStore;

namespace Ui
{
class frmPinfo;
}

/// The Options window. Its boxes are the live settings: what they hold counts at once, applied or
/// not, so it is made once, the first time anything needs a setting, and hidden between uses.
/// Only its own buttons leave it.
class frmPinfo final : public QDialog, public LiveSettings
{
    Q_OBJECT

public:
    /// Loads the stored settings. `store` and `op` must outlive the window.
    frmPinfo(const SettingsStore &store, Operator &op, QWidget *parent = nullptr);
    ~frmPinfo() override;

    Settings current() const override;
    /// Fills the boxes with the stored settings.
    void SetInfo();
    /// Ignored, and with it Escape and the system's ways of closing, until the program itself ends.
    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void apply();
    void closeWindow();
    void enableLogin(bool enabled);
    void followFocus(QWidget *old, QWidget *now);
    bool confirmPassword();
    void rememberPassword();

    std::unique_ptr<Ui::frmPinfo> m_ui;
    const SettingsStore &m_store;
    Operator &m_op;
    /// The password when its box received the focus, until a change of it has been asked about.
    std::optional<QString> m_remembered;
    bool m_programEnds = false;
};
