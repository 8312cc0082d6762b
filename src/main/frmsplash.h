#pragma once

#include <QDialog>

#include <memory>

namespace Ui
{
class frmSplash;
}

/// The program's name and picture, shown while it starts and as its about box. Any key or a click
/// closes it.
class frmSplash final : public QDialog
{
    Q_OBJECT

public:
    explicit frmSplash(QWidget *parent = nullptr);
    ~frmSplash() override;

    /// Shows it for three seconds at most.
    void showAtStart();
    /// Shows it until the person closes it.
    void showAbout();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    std::unique_ptr<Ui::frmSplash> m_ui;
    QTimer *m_timer;
};
