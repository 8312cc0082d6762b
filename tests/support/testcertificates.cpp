#include "testcertificates.h"

#include <QFile>
#include <QProcess>

TestCertificates::TestCertificates()
{
    // Elliptic curve keys: they are made in a moment.
    const QStringList newKey{
        QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
        QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes")};
    openssl(QStringList{QStringLiteral("req"), QStringLiteral("-x509")} + newKey +
            QStringList{QStringLiteral("-subj"), QStringLiteral("/CN=Test authority"),
                        QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-keyout"),
                        path("ca.key"), QStringLiteral("-out"), path("ca.pem")});
    openssl(QStringList{QStringLiteral("req")} + newKey +
            QStringList{QStringLiteral("-subj"), QStringLiteral("/CN=Test server"),
                        QStringLiteral("-keyout"), path("server.key"), QStringLiteral("-out"),
                        path("server.csr")});
    const QString here = QStringLiteral("DNS:localhost,IP:127.0.0.1");
    sign("server.pem", here, 2);
    sign("other.pem", QStringLiteral("DNS:mail.example.net"), 2);
    sign("expired.pem", here, -1);
}

void TestCertificates::sign(const char *certificate, const QString &names, int days) const
{
    QFile extensions(path("extensions"));
    if (!extensions.open(QIODevice::WriteOnly))
        qFatal("cannot write %ls", qUtf16Printable(extensions.fileName()));
    extensions.write("subjectAltName=" + names.toLatin1());
    extensions.close();
    openssl({QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
             path("server.csr"), QStringLiteral("-CA"), path("ca.pem"), QStringLiteral("-CAkey"),
             path("ca.key"), QStringLiteral("-CAcreateserial"), QStringLiteral("-days"),
             QString::number(days), QStringLiteral("-extfile"), extensions.fileName(),
             QStringLiteral("-out"), path(certificate)});
}

void TestCertificates::openssl(const QStringList &arguments) const
{
    QProcess process;
    process.start(QStringLiteral("openssl"), arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        qFatal("openssl %ls: %s", qUtf16Printable(arguments.first()),
               process.readAllStandardError().constData());
}

QString TestCertificates::path(const char *name) const
{
    return m_folder.filePath(QLatin1String(name));
}

QString TestCertificates::caFile() const
{
    return path("ca.pem");
}

QString TestCertificates::serverCertificate() const
{
    return path("server.pem");
}

QString TestCertificates::otherHostCertificate() const
{
    return path("other.pem");
}

QString TestCertificates::expiredCertificate() const
{
    return path("expired.pem");
}

QString TestCertificates::serverKey() const
{
    return path("server.key");
}
