#include "frmsplash.h"

#include "ui_frmsplash.h"

#include <QSysInfo>
#include <QTimer>

#include <chrono>

using namespace std::chrono_literals;

frmSplash::frmSplash(QWidget *parent)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint)
    , m_ui(std::make_unique<Ui::frmSplash>())
    , m_timer(new QTimer(this))
{
    m_ui->setupUi(this);
    const QSize logo = m_ui->imgLogo->minimumSize();
    m_ui->imgLogo->setPixmap(
        QIcon(QStringLiteral(":/quillbright.svg")).pixmap(logo, devicePixelRatioF()));
    m_ui->lblVersion->setText(tr("Version %1").arg(QCoreApplication::applicationVersion()));
    m_ui->lblPlatform->setText(QSysInfo::prettyProductName());
    m_timer->setObjectName(QStringLiteral("Timer1"));
    m_timer->setSingleShot(true);
    m_timer->setInterval(3000ms);
    connect(m_timer, &QTimer::timeout, this, &QDialog::accept);
}

frmSplash::~frmSplash() = default;

void frmSplash::showAtStart()
{
    m_timer->start();
    exec();
    m_timer->stop();
}

void frmSplash::showAbout()
{
    exec();
}

void frmSplash::keyPressEvent(QKeyEvent *)
{
    accept();
}

void frmSplash::mousePressEvent(QMouseEvent *)
{
    accept();
}
