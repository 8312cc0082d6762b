#pragma once

#include "quitrequest.h"

#include <QDialog>

/// A dialog that only its own buttons leave: its title bar has no Close item, and Escape and the
/// desktop's ways of closing are ignored, until the program itself is told to end.
class ButtonDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ButtonDialog(QWidget *parent = nullptr);

    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

    QuitRequest m_quit;
};
