#pragma once

#include <QString>

/// The program's settings. `unsubscribed` is the text of the unsubscribe list, one address per
/// line, each line ended by CR LF.
struct Settings {
    QString smtpServer;
    QString operatorAddress;
    QString account;
    QString password;
    bool requireLogon = false;
    bool logOutgoing = false;
    bool validateAddresses = false;
    QString unsubscribed;

    bool operator==(const Settings &) const = default;
};

/// What the option boxes hold right now, saved or not: the settings that a run reads.
class LiveSettings
{
public:
    virtual ~LiveSettings() = default;
    virtual Settings current() const = 0;
};
