#pragma once

#include "htmlview.h"
#include "settingsstore.h"

#include <memory>

class frmNewJob;
class frmPinfo;
class frmPreview;
class Clock;
class JobRow;
class Operator;
class ProgramFolder;
struct JobMessage;

/// The windows that the main window opens, each made when it is first needed and kept until the
/// program ends. The commands reach every window through here.
class Windows final : public QObject, public LiveSettings
{
    Q_OBJECT

public:
    /// `owner`: the main window. All of them must outlive the object.
    Windows(const ProgramFolder &folder, Operator &op, const Clock &clock,
            const HtmlViewFactory &makeHtmlView, QWidget &owner);
    ~Windows() override;

    /// What the boxes of the Options window hold.
    Settings current() const override;
    void showOptions();

    /// The job editor for a new job; true when one was stored.
    bool createJob();
    bool editJob(const JobRow &job);

    /// The preview of a job's message, for its list's recipients.
    void showPreview(const JobRow &job, const JobMessage &message);

    void showListManager();
    void showMessageManager();
    /// True when a list was made.
    bool createList();
    /// True when a message was made.
    bool createMessage();
    /// True when the message was stored.
    bool editMessage(qint64 messageId);
    void browseList(qint64 listId, const QString &listName);
    void exportRecipients();

    /// Unloads them all, in their order.
    void unload();

private:
    frmPinfo &options() const;
    frmNewJob &jobEditor();
    void tellNotBuilt(const QString &what);

    const ProgramFolder &m_folder;
    Operator &m_operator;
    const Clock &m_clock;
    HtmlViewFactory m_makeHtmlView;
    QWidget &m_owner;
    SettingsStore m_store;
    std::unique_ptr<frmNewJob> m_newJob;
    mutable std::unique_ptr<frmPinfo> m_options; // loaded by the first who reads a setting
    std::unique_ptr<frmPreview> m_preview;
};
