#pragma once

#include <QProcess>
#include <QTemporaryDir>

/// A private certificate authority and certificates it has signed, made once by the openssl
/// command in a folder that goes with the object. All files are PEM.
class TestCertificates
{
public:
    /// Ends the test program when openssl cannot do it.
    TestCertificates()
    {
        // Elliptic curve keys: they are made in a moment.
        const QString script = QStringLiteral(R"(
            set -e
            cd "$0"
            new="-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
            openssl req -x509 $new -subj "/CN=Test authority" -days 2 -keyout ca.key -out ca.pem
            openssl req $new -subj "/CN=Test server" -keyout server.key -out server.csr
            sign() {
                echo "subjectAltName=$2" > extensions
                openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial \
                    -days "$3" -extfile extensions -out "$1"
            }
            sign server.pem DNS:localhost,DNS:mail.localhost,IP:127.0.0.1 2
            sign other.pem DNS:mail.example.net 2
            sign expired.pem DNS:mail.localhost -1
            openssl req -x509 -key server.key -subj "/CN=mail.localhost" -days 2 -out self.pem)");
        if (QProcess::execute(QStringLiteral("sh"),
                              {QStringLiteral("-c"), script, m_folder.path()}) != 0)
            qFatal("openssl failed");
    }

    QString caFile() const { return path("ca.pem"); }
    /// For localhost, mail.localhost and 127.0.0.1.
    QString serverCertificate() const { return path("server.pem"); }
    /// For another host than this one.
    QString otherHostCertificate() const { return path("other.pem"); }
    /// For mail.localhost, until yesterday.
    QString expiredCertificate() const { return path("expired.pem"); }
    /// For mail.localhost, signed by nobody else.
    QString selfSignedCertificate() const { return path("self.pem"); }
    /// The private key of each of the four certificates.
    QString serverKey() const { return path("server.key"); }

private:
    QString path(const char *name) const { return m_folder.filePath(QLatin1String(name)); }

    QTemporaryDir m_folder;
};
