#include "frmimwebfile.h"

#include "ui_frmimwebfile.h"

#include "domainprefix.h"
#include "operator.h"
#include "webfetch.h"

frmImWebFile::frmImWebFile(WebFetch &fetch, Operator &op, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmImWebFile>())
    , m_fetch(fetch)
    , m_op(op)
{
    m_ui->setupUi(this);
    connect(m_ui->Command1, &QPushButton::clicked, this, &frmImWebFile::import);
    connect(m_ui->Command2, &QPushButton::clicked, this, &frmImWebFile::reject);
    setFetching(false);
}

frmImWebFile::~frmImWebFile() = default;

std::optional<QString> frmImWebFile::importDocument()
{
    m_document.clear();
    m_ui->txtURL->setFocus();
    m_ui->txtURL->selectAll();
    return exec() == Accepted ? std::optional(m_document) : std::nullopt;
}

void frmImWebFile::reject()
{
    if (m_ui->Command1->isEnabled()) {
        QDialog::reject();
        return;
    }
    m_isLeft = true;
    m_fetch.abort();
}

void frmImWebFile::import()
{
    m_isLeft = false;
    setFetching(true);
    const WebDocument document = m_fetch.fetch(m_ui->txtURL->text());
    setFetching(false);
    if (m_isLeft) {
        reject();
        return;
    }
    if (!document.failure.isEmpty()) {
        m_op.tell(document.failure, windowTitle());
        return;
    }
    m_document = m_ui->chkDomain->isChecked() ? withDomainPrefix(document.text, document.address)
                                              : document.text;
    accept();
}

/// The window lives meanwhile, and "Cancel" ends the fetch.
void frmImWebFile::setFetching(bool isFetching)
{
    for (QWidget *widget :
         std::initializer_list<QWidget *>{m_ui->Command1, m_ui->txtURL, m_ui->chkDomain})
        widget->setEnabled(!isFetching);
    m_ui->lblStatus->setText(isFetching ? tr("Fetching the document ...") : QString());
    if (isFetching)
        setCursor(Qt::BusyCursor);
    else
        unsetCursor();
}
