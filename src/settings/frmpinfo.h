#pragma once

#include "dialogs.h"
#include "settings.h"

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
class frmPinfo final : public ButtonDialog, public LiveSettings
{
    Q_OBJECT

public:
    /// Loads the stored settings. `store` and `op` must outlive the window.
    frmPinfo(const SettingsStore &store, Operator &op, QWidget *parent = nullptr);
    ~frmPinfo() override;

    Settings current() const override;
    /// Fills the boxes with the stored settings.
    void SetInfo();

protected:
    void showEvent(QShowEvent *event) override;

private:
    void apply();
    void closeWindow();
    void enableLogin(bool enabled);
    SendLimits limits() const;
    void setLimits(const SendLimits &limits);
    void showPreset();
    void followFocus(QWidget *old, QWidget *now);
    bool confirmPassword();
    void rememberPassword();

    std::unique_ptr<Ui::frmPinfo> m_ui;
    const SettingsStore &m_store;
    Operator &m_op;
    /// The password when its box received the focus, until a change of it has been asked about.
    std::optional<QString> m_remembered;
};
