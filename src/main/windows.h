#pragma once

#include "frmreport.h"
#include "mainseams.h"

#include "settingsstore.h"

class frmemail;
class frmExport;
class frmExportData;
class frmImport;
class frmImWebFile;
class frmMerge;
class frmMgrList;
class frmMgrMsg;
class frmNewJob;
class frmNewList;
class frmNewMail;
class frmPinfo;
class frmPreview;
class frmSend;
class JobListPanel;
class JobRow;
class QWidget;
struct JobMessage;
struct ListCommands;
struct MessageCommands;
struct RecipientQuery;

/// The windows that the main window opens, each made when it is first needed and kept until the
/// program ends; only the message editor goes after an editing from the message catalogue. The
/// commands reach every window through here.
class Windows final : public LiveSettings
{
public:
    /// `mail`: the program's one mail component. All of them must outlive the object.
    Windows(const MainSeams &seams, JobListPanel &jobs, std::function<SendMail &()> mail,
            QWidget &owner);
    ~Windows() override;

    /// What the boxes of the Options window hold.
    Settings current() const override;

    frmPinfo &options() const;
    frmNewJob &jobEditor();
    frmNewMail &messageEditor();

    /// The preview of a job's message, for its list's recipients.
    void showPreview(const JobRow &job, const JobMessage &message);

    /// What became of everybody whom the job sent to; what the person wants done about it.
    frmReport::Command showReport(const JobRow &job);

    void showListManager();
    void showMessageManager();
    /// True when a list was made.
    bool createList();
    /// `address`: what to search the recipients' addresses for; empty for all of them.
    void browseList(qint64 listId, const QString &listName, const QString &address = {});
    /// The recipients of a list that the query selects.
    void exportRecipients(const QString &listConnectionString, const RecipientQuery &query);

private:
    ListCommands listCommands();
    MessageCommands messageCommands();
    frmImport &importWindow();

    const MainSeams m_seams;
    JobListPanel &m_jobs;
    std::function<SendMail &()> m_mail;
    QWidget &m_owner;
    SettingsStore m_store;

    // The last one goes first when the object does.
    std::unique_ptr<frmReport> m_report;
    std::unique_ptr<frmPreview> m_preview;
    std::unique_ptr<frmemail> m_browser;
    std::unique_ptr<frmMerge> m_append;
    std::unique_ptr<frmMerge> m_merge;
    std::unique_ptr<frmSend> m_send;
    std::unique_ptr<frmImWebFile> m_imWebFile;
    std::unique_ptr<frmExportData> m_exportData;
    std::unique_ptr<frmExport> m_export;
    mutable std::unique_ptr<frmPinfo> m_options; // loaded by the first who reads a setting
    std::unique_ptr<frmNewJob> m_newJob;
    std::unique_ptr<frmImport> m_import;
    std::unique_ptr<frmMgrMsg> m_mgrMsg;
    std::unique_ptr<frmNewMail> m_newMail;
    std::unique_ptr<frmNewList> m_newList;
    std::unique_ptr<frmMgrList> m_mgrList;
};
