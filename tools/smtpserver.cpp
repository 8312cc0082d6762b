#include "smtpserver.h"

#include "serverstate.h"
#include "smtpsession.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTcpServer>
#include <QThread>

#include <utility>

namespace
{

QSslKey readKey(const QString &path)
{
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Rsa, QSsl::Ec}) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            break;
        QSslKey key(&file, algorithm);
        if (!key.isNull())
            return key;
    }
    return {};
}

QSslConfiguration tlsConfiguration(const ServerOptions &options)
{
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setPeerVerifyMode(QSslSocket::VerifyNone); // clients have no certificates
    if (options.startTls || options.implicitTls) {
        tls.setLocalCertificateChain(QSslCertificate::fromPath(options.certificateFile));
        tls.setPrivateKey(readKey(options.keyFile));
    }
    return tls;
}

class Listener : public QTcpServer
{
public:
    explicit Listener(ServerState &state)
        : m_state(state)
        , m_tls(tlsConfiguration(state.options()))
    {
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        new SmtpSession(descriptor, m_state, m_tls, this);
    }

private:
    ServerState &m_state;
    const QSslConfiguration m_tls;
};

} // namespace

class SmtpServer::Private
{
public:
    explicit Private(ServerOptions options)
        : state(std::move(options))
    {
    }

    ServerState state;
    QThread thread;
    quint16 port = 0;
};

SmtpServer::SmtpServer(ServerOptions options)
    : d(std::make_unique<Private>(std::move(options)))
{
    auto *listener = new Listener(d->state);
    listener->moveToThread(&d->thread);
    // The listener's sessions end with it, in the thread they live in.
    QObject::connect(&d->thread, &QThread::finished, listener, &QObject::deleteLater);
    d->thread.start();
    QMetaObject::invokeMethod(
        listener,
        [this, listener] {
            if (listener->listen(QHostAddress::LocalHost, d->state.options().port))
                d->port = listener->serverPort();
        },
        Qt::BlockingQueuedConnection);
}

SmtpServer::~SmtpServer()
{
    d->thread.quit();
    d->thread.wait();
}

quint16 SmtpServer::port() const
{
    return d->port;
}

QList<ReceivedMessage> SmtpServer::messages() const
{
    return d->state.messages();
}

QByteArrayList SmtpServer::transcript() const
{
    return d->state.transcript();
}

int SmtpServer::sessions() const
{
    return d->state.sessions();
}
