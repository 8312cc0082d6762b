#pragma once

#include <QByteArray>
#include <QString>

enum class AddressRules {
    Always, ///< what no address may break, because it could split a command or be two addresses
    Shape   ///< in addition the shape of a mailbox on the Internet: local@domain.tld
};

/// What is wrong with `address`, as the end of a sentence that begins with "The recipient address"
/// ("holds a blank"); empty when nothing is. Blanks around the address do not count.
QString addressFault(const QString &address, AddressRules rules);

/// An address without fault as the commands and header fields write it, in UTF-8: without the
/// blanks around it, and with the domain in its ASCII form, so that only a local part beyond ASCII
/// asks the server for SMTPUTF8.
QByteArray wireAddress(const QString &address);
