#pragma once

#include <QByteArray>
#include <QString>

/// Where a mail server listens, read from what the operator typed.
struct MailHost {
    QString name; ///< a host name, an IPv4 address, or an IPv6 address without brackets
    quint16 port = 0;
    bool implicitTls = false; ///< encrypted from the first byte (smtps)
    /// The operator named this very machine, so nothing travels over a network. A name that merely
    /// resolves to it does not count: who answers for names decides that, not the operator.
    bool loopback = false;

    /// `smtp://name:port` for the library that opens connections.
    QByteArray url() const;
};

/// `text` as it may be shown: without what stands before an "@", which may be a password.
QString shownMailHost(const QString &text);

/// Reads `name`, `name:port`, `[v6]:port`, `smtp://...` or `smtps://...`. Returns why that cannot
/// be done, as a sentence; empty when it was.
QString readMailHost(const QString &text, MailHost &host);
