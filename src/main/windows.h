#pragma once

#include "htmlview.h"
#include "settingsstore.h"

#include <memory>

class frmemail;
class frmExport;
class frmExportData;
class frmImport;
class frmMerge;
class frmMgrList;
class frmNewJob;
class frmNewList;
class frmPinfo;
class frmPreview;
class Clock;
class JobRow;
class Operator;
class ProgramFolder;
class Spreadsheet;
class Yield;
struct JobMessage;
struct ListCommands;
struct RecipientQuery;

/// The windows that the main window opens, each made when it is first needed and kept until the
/// program ends. The commands reach every window through here.
class Windows final : public QObject, public LiveSettings
{
    Q_OBJECT

public:
    /// `owner`: the main window. All of them must outlive the object.
    Windows(const ProgramFolder &folder, Operator &op, const Clock &clock, Yield &yield,
            Spreadsheet &spreadsheet, const HtmlViewFactory &makeHtmlView, QWidget &owner);
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
    /// `address`: what to search the recipients' addresses for; empty for all of them.
    void browseList(qint64 listId, const QString &listName, const QString &address = {});
    /// The recipients of a list that the query selects.
    void exportRecipients(const QString &listConnectionString, const RecipientQuery &query);

    /// Unloads them all, in their order.
    void unload();

signals:
    /// The person wants to see the jobs that use the list.
    void jobsOfListWanted(qint64 listId);

private:
    ListCommands listCommands();
    frmNewList &newList();
    frmImport &import();
    frmMerge &merge();
    frmMerge &append();
    frmPinfo &options() const;
    frmNewJob &jobEditor();
    void tellNotBuilt(const QString &what);

    const ProgramFolder &m_folder;
    Operator &m_operator;
    const Clock &m_clock;
    Yield &m_yield;
    Spreadsheet &m_spreadsheet;
    HtmlViewFactory m_makeHtmlView;
    QWidget &m_owner;
    SettingsStore m_store;
    std::unique_ptr<frmMgrList> m_listManager;
    std::unique_ptr<frmNewList> m_newList;
    std::unique_ptr<frmImport> m_import;
    std::unique_ptr<frmNewJob> m_newJob;
    mutable std::unique_ptr<frmPinfo> m_options; // loaded by the first who reads a setting
    std::unique_ptr<frmExport> m_export;
    std::unique_ptr<frmExportData> m_exportData;
    std::unique_ptr<frmMerge> m_merge;
    std::unique_ptr<frmMerge> m_append;
    std::unique_ptr<frmemail> m_browser;
    std::unique_ptr<frmPreview> m_preview;
};
