#pragma once

#include "testfolder.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <QToolBar>

#include <functional>

/// The part of a window that has this name; ends the test program when there is none.
template <typename T = QWidget>
T *child(const QWidget &window, const TestText &name)
{
    T *found = window.findChild<T *>(name);
    if (!found)
        qFatal("There is no %ls", qUtf16Printable(name));
    return found;
}

/// Clicks the button of this name, or the toolbar's button of the command with this name.
inline void press(const QWidget &window, const TestText &name)
{
    QWidget *button = window.findChild<QAbstractButton *>(name);
    for (const QToolBar *bar : window.findChildren<QToolBar *>()) {
        if (auto *action = window.findChild<QAction *>(name); action && !button)
            button = bar->widgetForAction(action);
    }
    if (!button)
        qFatal("There is no button %ls", qUtf16Printable(name));
    QTest::mouseClick(button, Qt::LeftButton);
}

/// Types into the line of this name, in place of what it holds.
inline void type(const QWidget &window, const TestText &name, const TestText &text)
{
    auto *line = child<QLineEdit>(window, name);
    QTest::mouseClick(line, Qt::LeftButton);
    line->selectAll();
    QTest::keyClick(line, Qt::Key_Delete);
    QTest::keyClicks(line, text);
}

/// Does `action` to the modal window of this class as soon as it is up; fails when none comes.
template <typename Window>
class WhenShown final
{
public:
    explicit WhenShown(const std::function<void(Window &)> &action)
    {
        m_poll.callOnTimeout([this, action] {
            if (auto *window = qobject_cast<Window *>(QApplication::activeModalWidget())) {
                m_poll.stop();
                action(*window);
            }
        });
        m_poll.start(10);
    }
    ~WhenShown()
    {
        if (m_poll.isActive())
            QTest::qFail("The window never came up", __FILE__, __LINE__);
    }

private:
    QTimer m_poll;
};

/// Calls `show`, which opens a modal window of this class, does `steps` to it and closes it.
template <typename Window>
void during(const std::function<void()> &show, const std::function<void(Window &)> &steps)
{
    const WhenShown<Window> open([&](Window &window) {
        steps(window);
        window.close();
    });
    show();
}
