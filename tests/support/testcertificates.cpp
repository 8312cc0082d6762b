#include "testcertificates.h"

#include <QProcess>

TestCertificates::TestCertificates()
{
    // Elliptic curve keys: they are made in a moment.
    const QString script = QStringLiteral(R"(
        set -e
        new="-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
        openssl req -x509 $new -subj "/CN=Test authority" -days 2 -keyout ca.key -out ca.pem
        openssl req $new -subj "/CN=Test server" -keyout server.key -out server.csr
        sign() {
            echo "subjectAltName=$2" > extensions
            openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days "$3" \
                -extfile extensions -out "$1"
        }
        sign server.pem DNS:localhost,DNS:mail.localhost,IP:127.0.0.1 2
        sign other.pem DNS:mail.example.net 2
        sign expired.pem DNS:mail.localhost -1
        openssl req -x509 -key server.key -subj "/CN=mail.localhost" -days 2 -out self.pem)");
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.start(QStringLiteral("sh"), {QStringLiteral("-c"), script});
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        qFatal("openssl: %s", process.readAllStandardError().constData());
}
