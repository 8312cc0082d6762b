#include "frmnewjob.h"

#include "ui_frmnewjob.h"

#include "jobrow.h"
#include "jobstore.h"
#include "operator.h"
#include "plaintooltip.h"
#include "storageerror.h"

#include <QListView>

#include <algorithm>

frmNewJob::frmNewJob(const ProgramFolder &folder, Operator &op, Create createList,
                     Create createMail, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmNewJob>())
    , m_folder(folder)
    , m_op(op)
    , m_createList(std::move(createList))
    , m_createMail(std::move(createMail))
{
    m_ui->setupUi(this);
    for (QComboBox *box : {m_ui->combMlist, m_ui->combMmsg}) {
        // With items of one height the list opens at once, however many there are.
        auto *view = new QListView(box);
        view->setUniformItemSizes(true);
        box->setView(view);
        // Long names do not fit.
        connect(box, &QComboBox::currentTextChanged, this,
                [box](const QString &text) { box->setToolTip(plainToolTip(text)); });
    }
    connect(m_ui->cmdOK, &QPushButton::clicked, this, &frmNewJob::save);
    connect(m_ui->cmdCancel, &QPushButton::clicked, this, &frmNewJob::reject);
    connect(m_ui->cmdList, &QPushButton::clicked, this, [this] {
        if (m_createList() && InitMlistList())
            m_ui->combMlist->setCurrentIndex(m_ui->combMlist->count() - 1);
    });
    connect(m_ui->cmdMail, &QPushButton::clicked, this, [this] {
        if (m_createMail() && InitMmsgList())
            m_ui->combMmsg->setCurrentIndex(m_ui->combMmsg->count() - 1);
    });
}

frmNewJob::~frmNewJob() = default;

bool frmNewJob::createJob()
{
    if (!InitMlistList() || !InitMmsgList())
        return false;
    SetAttribute(false, 0, {}, {});
    return run();
}

bool frmNewJob::editJob(const JobRow &job)
{
    m_ui->txtJobName->setText(job[JobCell::Name]);
    if (!InitMlistList() || !InitMmsgList())
        return false;
    SetAttribute(true, job.number(JobCell::Id),
                 job[JobCell::MaillistId] + QLatin1Char('-') + job[JobCell::Maillist],
                 job[JobCell::EmailId] + QLatin1Char('-') + job[JobCell::Subject]);
    return run();
}

void frmNewJob::SetAttribute(bool edit, qint64 jobId, const QString &listText,
                             const QString &messageText)
{
    m_edit = edit;
    m_jobId = jobId;
    if (edit) {
        m_ui->combMlist->setCurrentIndex(std::max(0, m_ui->combMlist->findText(listText)));
        m_ui->combMmsg->setCurrentIndex(std::max(0, m_ui->combMmsg->findText(messageText)));
    } else {
        m_ui->txtJobName->clear();
        m_ui->combMlist->setCurrentIndex(0);
        m_ui->combMmsg->setCurrentIndex(0);
    }
    for (QWidget *widget : std::initializer_list<QWidget *>{m_ui->combMlist, m_ui->combMmsg,
                                                            m_ui->cmdList, m_ui->cmdMail})
        widget->setEnabled(!edit);
    setWindowTitle(edit ? tr("Edit Job") : tr("Create Job"));
    m_ui->cmdOK->setText(edit ? tr("&Save") : tr("C&reate"));
}

bool frmNewJob::InitMlistList()
{
    return refill(*m_ui->combMlist, tr("--Select Maillist--"), listChoices);
}

bool frmNewJob::InitMmsgList()
{
    return refill(*m_ui->combMmsg, tr("--Select Email--"), messageChoices);
}

bool frmNewJob::refill(QComboBox &box, const QString &prompt,
                       std::vector<JobChoice> (*choices)(const ProgramFolder &))
{
    box.clear();
    box.addItem(prompt, 0);
    try {
        for (const JobChoice &choice : choices(m_folder))
            box.addItem(choice.text, choice.number);
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
        return false;
    }
    return true;
}

bool frmNewJob::run()
{
    m_ui->txtJobName->setFocus();
    return exec() == Accepted;
}

void frmNewJob::save()
{
    if (!isComplete())
        return;
    const QString name = m_ui->txtJobName->text();
    try {
        if (m_edit)
            renameJob(m_folder, m_jobId, name);
        else
            insertJob(m_folder, name, m_ui->combMlist->currentData().toLongLong(),
                      m_ui->combMmsg->currentData().toLongLong());
    } catch (const StorageError &e) {
        m_op.tell(e.report(), tr("Error"));
        return;
    }
    accept();
}

/// Tells what is missing, and leads there.
bool frmNewJob::isComplete()
{
    QWidget *missing = nullptr;
    if (m_ui->txtJobName->text().isEmpty()) {
        m_op.tell(tr("Job Name cannot be empty !"), tr("Job Manager"));
        missing = m_ui->txtJobName;
    } else if (m_ui->combMlist->currentIndex() == 0) {
        m_op.tell(tr("Please a maillist."));
        missing = m_ui->combMlist;
    } else if (m_ui->combMmsg->currentIndex() == 0) {
        m_op.tell(tr("Please a mail content."));
        missing = m_ui->combMmsg;
    }
    if (missing)
        missing->setFocus();
    return !missing;
}
