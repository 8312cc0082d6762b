#pragma once

#include <QDialog>

/// Notices that the program is told to end (the desktop's session closes). It then closes its
/// windows one by one, and stays when one of them refuses.
class QuitRequest final : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// From now on; what was noticed before is forgotten.
    void watch();
    void unwatch();
    bool isMade() const { return m_isMade; }
    /// Tells the program to end once more, where it was told since watch(): a window at work
    /// refuses.
    void repeat();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_isMade = false;
};

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

/// A dialog in which long work is done. Left meanwhile, it ends the work first and closes then, so
/// that no other command can start under it.
class WorkDialog : public QDialog
{
    Q_OBJECT

public:
    using QDialog::QDialog;

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
