#pragma once

#include "bodyview.h"
#include "recipientpreview.h"
#include "recordkeys.h"

#include <array>
#include <memory>

class Clock;
class Operator;
class ProgramFolder;
class QLineEdit;

namespace Ui
{
class PreviewWidget;
}

/// Pages through a list's recipients and shows a message as each of them will get it: the main
/// window's Preview tab, and what the preview window holds.
class PreviewWidget final : public QWidget
{
    Q_OBJECT

public:
    PreviewWidget(const ProgramFolder &folder, Operator &op, const Clock &clock,
                  const HtmlViewFactory &makeView, const BodyView::Names &names,
                  QWidget *parent = nullptr);
    ~PreviewWidget() override;

    /// Shows `body` for the list's first recipient, or for nobody where no list is given. A failure
    /// is told to the operator.
    void Load_prev_db(const QString &listConnectionString, const QString &format,
                      const QString &body);
    /// Puts a widget before the navigation buttons, in their row.
    void addBesideButtons(QWidget *widget);
    /// Puts the tab's toolbar there; it begins with the command that opens the preview's window.
    void addToolbar(const std::function<void()> &preview);

    void move(RecordMove to);

signals:
    /// After a load and after every move; `position` from 1, or 0 of 0.
    void positionChanged(qsizetype position, qsizetype count);

private:
    template <typename Step>
    void attempt(Step step);
    void showRecipient();

    Operator &m_operator;
    const Clock &m_clock;
    std::unique_ptr<Ui::PreviewWidget> m_ui;
    std::array<QLineEdit *, 7> m_fields;
    BodyView *m_body;
    RecipientPreview m_preview;
    QString m_format;
};
