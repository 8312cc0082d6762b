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

    QString caFile() const;
    /// For localhost and 127.0.0.1.
    QString serverCertificate() const;
    /// For another host than this one.
    QString otherHostCertificate() const;
    /// For localhost and 127.0.0.1, until yesterday.
    QString expiredCertificate() const;
    /// The private key of each of the three certificates.
    QString serverKey() const;

private:
    QString path(const char *name) const;
    void openssl(const QStringList &arguments) const;
    void sign(const char *certificate, const QString &names, int days) const;

    QTemporaryDir m_folder;
};
