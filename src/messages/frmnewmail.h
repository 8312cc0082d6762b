#pragma once

#include "htmlview.h"
#include "messagestore.h"

#include <QDialog>

#include <array>
#include <functional>
#include <memory>
#include <optional>

class Operator;
class ProgramFolder;
class QLineEdit;
class SourceEditor;

namespace Ui
{
class frmNewMail;
}

/// The message editor: writes a new message or changes a stored one. It is hidden between uses and
/// keeps the history of its body over all of them.
class frmNewMail final : public QDialog
{
    Q_OBJECT

public:
    /// Shows the window that fetches a document from a web address: its text, or none when the
    /// person cancelled.
    using ImportWeb = std::function<std::optional<QString>()>;

    /// `folder` and `op` must outlive the window.
    frmNewMail(const ProgramFolder &folder, Operator &op, const HtmlViewFactory &makeView,
               ImportWeb importWeb, QWidget *parent = nullptr);
    ~frmNewMail() override;

    /// Shows the editor for a new message; true when one was stored.
    bool createMessage();
    /// Shows the editor for message `msgid`, under `caption` where one is given; true when it was
    /// saved. A message that cannot be loaded is told and not shown.
    bool editMessage(qint64 msgid, const QString &caption = {});

    /// Asks first what is to become of changes.
    void reject() override;
    void done(int result) override;

private:
    enum Tab { Source, Preview, Attachment };

    void connectControls();
    void ResetFields();
    void SetAttribute(bool edit);
    bool Get_Msg(qint64 msgid);
    void setFields(const JobMessage &message);
    JobMessage fields() const;
    bool run();
    void save();
    bool isComplete();
    bool isHtml() const;
    void showTab();
    void renderPreview(const QString &errorPrefix = QStringLiteral("Error # "));
    void browse(size_t attachment);
    bool replaceBody(const QString &body);
    void importFile();
    void importUrl();

    std::unique_ptr<Ui::frmNewMail> m_ui;
    const ProgramFolder &m_folder;
    Operator &m_op;
    ImportWeb m_importWeb;
    std::array<QLineEdit *, 3> m_attachments;
    SourceEditor *m_source = nullptr;
    HtmlView *m_browser;
    JobMessage m_shown; ///< before the person changed it
    bool m_edit = false;
    qint64 m_msgid = 0; ///< of the message edited, or made last
};
