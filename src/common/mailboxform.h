#pragma once

#include <QString>

/// A domain as it goes onto the wire, in ASCII letters; empty when it has no such form.
QString asciiDomain(QStringView domain);

/// One form of all the spellings of a mailbox, for comparing: without blanks and characters that
/// nobody sees, wide letters as ordinary ones, letter case folded, a quoted local part without its
/// quotes, the domain as asciiDomain() without a dot at its end. Not an address to send to.
QString mailboxForm(const QString &address);
