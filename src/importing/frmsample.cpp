#include "frmsample.h"

#include "ui_frmsample.h"

frmSample::frmSample(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui::frmSample>())
{
    m_ui->setupUi(this);
    m_ui->txtSample->setPlainText(
        tr("someone@example.com,Recipient's Firstname,Recipient's Lastname,Recipient's Title,"
           "Contact,Company, Memo\r\n"
           "mary.hill@example.com,Mary,Hill,Ms,555-0147,Hill Gardens,Prefers to be called\r\n"
           "reader@example.org\r\n"
           "tom@example.net,,,,555-0162\r\n"
           "office@example.com,,,,555-0199\r\n"));
    connect(m_ui->buttonBox, &QDialogButtonBox::rejected, this, &frmSample::reject);
}

frmSample::~frmSample() = default;
