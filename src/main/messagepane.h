#pragma once

#include "bodyview.h"
#include "messagestore.h"

#include <memory>

class Operator;
class ProgramFolder;

namespace Ui
{
class FrameHeader;
}

/// The selected job's message on the General tab (its body) and on the Details tab (the rest).
class MessagePane final : public QObject
{
    Q_OBJECT

public:
    MessagePane(const ProgramFolder &folder, Operator &op, const HtmlViewFactory &makeView,
                QObject *parent = nullptr);
    ~MessagePane() override;

    /// The two tabs' frames. The window that takes them into a layout owns them, and must go after
    /// this object.
    QWidget *body() const { return m_body; }
    QWidget *header() const { return m_header; }

    /// Shows the page that greets a person on the General tab.
    void showStartPage();
    /// Shows message `msgid`, or no message for 0. A failure is told to the operator, and there is
    /// then no message: false.
    bool loadMessage(qint64 msgid);
    /// The message that is shown.
    const JobMessage &message() const { return m_message; }

private:
    void showMessage();

    const ProgramFolder &m_folder;
    Operator &m_operator;
    JobMessage m_message;
    std::unique_ptr<Ui::FrameHeader> m_ui;
    BodyView *m_body;
    QWidget *m_header;
};
