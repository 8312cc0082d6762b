#pragma once

#include <QString>
#include <QTemporaryDir>

/// A private certificate authority and certificates it has signed, made once by the openssl
/// command in a folder that goes with the object. All files are PEM.
class TestCertificates
{
public:
    /// Ends the test program when openssl cannot do it.
    TestCertificates();

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
