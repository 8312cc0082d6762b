#pragma once

#include <QApplication>
#include <QTest>

#include <functional>

/// Does `action` to the modal window of this class as soon as it is up; fails when none comes.
template <typename Window>
class WhenShown final : public QObject
{
public:
    explicit WhenShown(std::function<void(Window &)> action)
        : m_action(std::move(action))
    {
        startTimer(10);
    }
    ~WhenShown() override
    {
        if (!m_done)
            QTest::qFail("The window never came up", __FILE__, __LINE__);
    }

protected:
    void timerEvent(QTimerEvent *) override
    {
        auto *window = qobject_cast<Window *>(QApplication::activeModalWidget());
        if (!window || m_done)
            return;
        m_done = true;
        m_action(*window);
    }

private:
    std::function<void(Window &)> m_action;
    bool m_done = false;
};
