#pragma once

#include "settings.h"

#include <QDateTime>

#include <chrono>
#include <map>

class Clock;

/// What the limits let leave for one account on one host, whichever job, folder or program of the
/// user sends: a record in the user's state folder of how many messages left when, by which every
/// span of a minute, an hour and a day is held.
///
/// A message needs a slot. Slots are taken from the record in blocks, of what two seconds need at
/// the rate so far, so that no message costs a sync of its own. They count from the end of those
/// two seconds, so never from before they were used; those not used by then go back. A program that
/// is killed leaves its block counted.
///
/// A clock that was set back frees nothing: what would have left in the future counts from now.
///
/// Where the record cannot be read, understood or written, has() and freeAt() throw StorageError
/// and no slot is taken: with limits, nothing leaves that is not recorded before. The error names
/// the file; without it the count begins anew.
class SendAllowance
{
public:
    /// `host`: the server as the operator typed it. `user`: empty without login. `clock` must
    /// outlive the object.
    SendAllowance(const QString &host, const QString &user, const SendLimits &limits,
                  const Clock &clock);
    /// Gives back what was not used, where that can be done.
    ~SendAllowance();
    SendAllowance(const SendAllowance &) = delete;
    SendAllowance &operator=(const SendAllowance &) = delete;

    /// Whether that many slots are held now; takes them where they are free. Always true without a
    /// limit, never where `messages` is more than a limit. Throws StorageError.
    bool has(int messages);
    /// A message leaves now, on one of the slots held.
    void spend();
    /// When the last of `messages` further messages may leave, as the record was when it was read
    /// last: has(1) false reads it, and costs nothing more here. Not before now. Throws
    /// StorageError.
    QDateTime freeAt(qint64 messages = 1);

private:
    class Record;

    bool isLimited() const { return m_limits != SendLimits(); }
    bool lapsed(qint64 now) const;
    void release();
    qint64 blockSize(qint64 messages, qint64 now) const;
    qint64 freeAt(qint64 messages, qint64 now) const;

    QString m_file;
    const SendLimits m_limits;
    const Clock &m_clock;
    std::map<qint64, qint64> m_sent; ///< messages by when they count, in ms
    bool m_isRead = false;
    qint64 m_held = 0;
    qint64 m_until = 0; ///< the stamp of the slots held
    qint64 m_takenAt = 0;
    qint64 m_used = 0; ///< of the last block
};

/// When a run will be over that handled `handled` recipients while it sent for `elapsed`, with
/// `left` to go, a pause after every `batchSize`, and the last message free to leave at `freeAt`
/// (null without limits). Null while it is too early to tell.
QDateTime expectedEnd(const QDateTime &now, qint64 handled, std::chrono::milliseconds elapsed,
                      qint64 left, int batchSize, std::chrono::milliseconds batchPause,
                      const QDateTime &freeAt);
