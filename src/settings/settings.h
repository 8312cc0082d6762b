#pragma once

#include <QString>

/// How many messages may leave for one account of a server within a time; 0: as many as there are.
struct SendLimits {
    int perMinute = 0;
    int perHour = 0;
    int perDay = 0;

    bool operator==(const SendLimits &) const = default;
};

/// What a limit and the wait before a rerun may be at most; more is taken as that.
constexpr int mostMessages = 10'000'000;
constexpr int mostRerunWaitMinutes = 7 * 24 * 60;

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
    SendLimits limits;
    int rerunWaitMinutes = 0; ///< before failures are sent to again
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
