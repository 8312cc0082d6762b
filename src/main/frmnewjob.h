#pragma once

#include <QDialog>

#include <functional>
#include <memory>
#include <vector>

class JobRow;
class Operator;
class ProgramFolder;
class QComboBox;
struct JobChoice;

namespace Ui
{
class frmNewJob;
}

/// The job editor: makes a job of a name, a list and a message, or gives a job another name. It is
/// made once and hidden between uses.
class frmNewJob final : public QDialog
{
    Q_OBJECT

public:
    /// Opens a window in which a list, or a message, is made; true when one was.
    using Create = std::function<bool()>;

    /// `folder` and `op` must outlive the window.
    frmNewJob(const ProgramFolder &folder, Operator &op, Create createList, Create createMail,
              QWidget *parent = nullptr);
    ~frmNewJob() override;

    /// Shows the editor for a new job; true when one was stored.
    bool createJob();
    /// Shows the editor for the name of `job`; true when it was stored.
    bool editJob(const JobRow &job);

private:
    void SetAttribute(bool edit, qint64 jobId, const QString &listText, const QString &messageText);
    bool InitMlistList();
    bool InitMmsgList();
    /// False when the database could not be read; the operator was told.
    bool refill(QComboBox &box, const QString &prompt,
                std::vector<JobChoice> (*choices)(const ProgramFolder &));
    bool run();
    void save();
    bool isComplete();

    std::unique_ptr<Ui::frmNewJob> m_ui;
    const ProgramFolder &m_folder;
    Operator &m_op;
    Create m_createList;
    Create m_createMail;
    bool m_edit = false;
    qint64 m_jobId = 0; ///< 0 for a new job
};
