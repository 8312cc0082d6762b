#include "frmimwebfile.h"

#include "ui_frmimwebfile.h"

#include "domainprefix.h"
#include "operator.h"

frmImWebFile::frmImWebFile(WebFetch &fetch, Operator &op, QWidget *parent)
    : WorkDialog(parent)
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

void frmImWebFile::import()
{
    setFetching(true);
    const WebDocument document = m_fetch.fetch(m_ui->txtURL->text());
    setFetching(false);
    if (isLeft())
        return;
    if (!document.failure.isEmpty())
        return tellFailure(document.failure);
    m_document = document.text;
    if (m_ui->chkDomain->isChecked()) {
        const auto prefixed = withDomainPrefix(document.text, document.address);
        if (!prefixed)
            return tellFailure(tr("The document becomes too large with the domain prefix."));
        m_document = *prefixed;
    }
    accept();
}

/// The window stays open for another try at the address.
void frmImWebFile::tellFailure(const QString &failure)
{
    m_op.tell(failure, windowTitle());
    m_ui->txtURL->setFocus();
    m_ui->txtURL->selectAll();
}

/// The window lives meanwhile, and "Cancel" ends the fetch.
void frmImWebFile::setFetching(bool isFetching)
{
    for (QWidget *widget :
         std::initializer_list<QWidget *>{m_ui->Command1, m_ui->txtURL, m_ui->chkDomain})
        widget->setEnabled(!isFetching);
    m_ui->lblStatus->setText(isFetching ? tr("Fetching the document ...") : QString());
    setWorking(isFetching);
}
