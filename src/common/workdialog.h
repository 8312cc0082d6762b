#pragma once

#include "quitrequest.h"

#include <QDialog>

/// A dialog in which long work is done. Left meanwhile, it ends the work first and closes then, so
/// that no other command can start under it.
class WorkDialog : public QDialog
{
    Q_OBJECT

public:
    explicit WorkDialog(QWidget *parent = nullptr);

    void reject() override;

protected:
    /// Asks the work to end soon.
    virtual void abortWork() = 0;
    /// To be told where the work begins and where it ends.
    void setWorking(bool isWorking);
    /// Whether the window was left during the work.
    bool isLeft() const { return m_isLeft; }

private:
    QuitRequest m_quit;
    bool m_isWorking = false;
    bool m_isLeft = false;
};
