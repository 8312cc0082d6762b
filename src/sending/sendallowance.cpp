#include "sendallowance.h"

#include "clock.h"
#include "mailhost.h"
#include "storageerror.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <array>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr qint64 second = 1000;
constexpr qint64 minute = 60 * second;
constexpr qint64 hour = 60 * minute;
constexpr qint64 day = 24 * hour;
/// How long a block of slots may be used.
constexpr qint64 hold = 2 * second;
constexpr qint64 mostInBlock = 10000;
constexpr char head[] = "messages sent, and when (ms since 1970)";
constexpr char tail[] = "end";

struct Window {
    int SendLimits::*limit;
    qint64 span;
};
constexpr std::array<Window, 3> windows = {
    {{&SendLimits::perMinute, minute}, {&SendLimits::perHour, hour}, {&SendLimits::perDay, day}}};

QString stateFolder()
{
    QString base = qEnvironmentVariable("XDG_STATE_HOME");
    if (!QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.local/state");
    return base + QStringLiteral("/Quillbright");
}

QString recordName(const QString &typed, const QString &user)
{
    MailHost host;
    const QString misread = readMailHost(typed, host);
    const QString name = misread.isEmpty()
                             ? QStringLiteral("%1:%2").arg(host.name.toLower()).arg(host.port)
                             : typed.trimmed().toLower();
    const QByteArray digest =
        QCryptographicHash::hash((name + QChar(u'\0') + user).toUtf8(), QCryptographicHash::Sha256);
    return QStringLiteral("sent-") + QString::fromLatin1(digest.toHex().left(32));
}

/// The older messages are, the fewer moments they are told apart by: a day's are a few hundred.
/// They never become older by it, nor fall back into a span that they had left.
void compact(std::map<qint64, qint64> &sent, qint64 now)
{
    std::map<qint64, qint64> kept;
    for (const auto &[stamp, count] : sent) {
        const auto roundedUp = [stamp = stamp](qint64 step) {
            return (stamp + step - 1) / step * step;
        };
        qint64 rounded = stamp;
        if (stamp <= now - day)
            continue;
        if (roundedUp(5 * minute) <= now - hour)
            rounded = roundedUp(5 * minute);
        else if (roundedUp(30 * second) <= now - minute)
            rounded = roundedUp(30 * second);
        kept[rounded] += count;
    }
    sent = std::move(kept);
}

} // namespace

/// The record, locked while the object lives.
class SendAllowance::Record
{
public:
    explicit Record(const QString &path)
        : m_path(path)
    {
        const QString folder = path.section(u'/', 0, -2);
        if (!QDir().mkpath(folder))
            cannotWrite(folder, QStringLiteral("the folder cannot be made."));
        ::chmod(QFile::encodeName(folder), 0700);
        m_lock = ::open(QFile::encodeName(path + QStringLiteral(".lock")),
                        O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        while (m_lock >= 0 && ::flock(m_lock, LOCK_EX) != 0 && errno == EINTR) {
        }
        if (m_lock < 0)
            cannotWrite(path, qt_error_string(errno));
    }
    ~Record() { ::close(m_lock); }
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;

    /// What is shifted because the clock was set back is written at once: it shall grow old.
    std::map<qint64, qint64> read(qint64 now) const
    {
        std::map<qint64, qint64> sent;
        QFile file(m_path);
        if (!file.exists())
            return sent;
        openToRead(file);
        QList<QByteArray> lines = file.readAll().split('\n');
        bool isSound = lines.size() >= 3 && lines.takeFirst() == head &&
                       lines.takeLast().isEmpty() && lines.takeLast() == tail;
        for (const QByteArray &line : std::as_const(lines)) {
            const QList<QByteArray> words = line.split(' ');
            bool ok[2] = {};
            const qint64 stamp = words.first().toLongLong(&ok[0]);
            const qint64 count = words.last().toLongLong(&ok[1]);
            isSound = isSound && words.size() == 2 && ok[0] && ok[1] && stamp > 0 && count > 0 &&
                      count < 1'000'000'000'000;
            sent[stamp] += count;
        }
        if (!isSound)
            cannotRead(m_path, QStringLiteral("the record of what was sent is damaged. Without "
                                              "the file, the limits count anew."));
        // The clock was set back: nothing is stamped later than a block may be.
        const qint64 ahead = sent.empty() ? 0 : sent.rbegin()->first - now;
        if (ahead > hold) {
            std::map<qint64, qint64> shifted;
            for (const auto &[stamp, count] : sent)
                shifted[stamp - ahead] += count;
            sent = std::move(shifted);
            write(sent);
        }
        return sent;
    }

    void write(const std::map<qint64, qint64> &sent) const
    {
        QByteArray text = head + QByteArray("\n");
        for (const auto &[stamp, count] : sent)
            text += QByteArray::number(stamp) + ' ' + QByteArray::number(count) + '\n';
        text += tail + QByteArray("\n");
        QSaveFile file(m_path);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
            cannotWrite(m_path, file.errorString());
        // A name that a power cut takes back would free what was taken.
        const int folder = ::open(QFile::encodeName(m_path.section(u'/', 0, -2)),
                                  O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::fsync(folder);
        ::close(folder);
    }

private:
    QString m_path;
    int m_lock = -1;
};

SendAllowance::SendAllowance(const QString &host, const QString &user, const SendLimits &limits,
                             const Clock &clock)
    : m_file(stateFolder() + u'/' + recordName(host, user))
    , m_limits(limits)
    , m_clock(clock)
{
}

SendAllowance::~SendAllowance()
{
    if (m_held <= 0)
        return;
    try {
        const qint64 now = m_clock.now().toMSecsSinceEpoch();
        const Record record(m_file);
        m_sent = record.read(now);
        release();
        record.write(m_sent);
    } catch (const StorageError &) {
        // They stay counted.
    }
}

/// Whether the slots held may not be used any more; the clock may have been set back since.
bool SendAllowance::lapsed(qint64 now) const
{
    return now > m_until || m_until > now + hold;
}

/// Takes the slots held out of what was sent.
void SendAllowance::release()
{
    const auto at = m_sent.find(m_until);
    if (m_held > 0 && at != m_sent.end()) {
        at->second -= std::min(m_held, at->second);
        if (at->second == 0)
            m_sent.erase(at);
    }
    m_held = 0;
}

/// What two seconds need at the rate of the last block; it may not jump, as the rate of a block of
/// one is no rate.
qint64 SendAllowance::blockSize(qint64 messages, qint64 now) const
{
    const qint64 took = std::max<qint64>(now - m_takenAt, 1);
    const qint64 wanted = std::min(m_used * hold / took, 4 * m_used);
    return std::clamp(wanted, messages, std::max(messages, mostInBlock));
}

bool SendAllowance::has(int messages)
{
    if (!isLimited())
        return true;
    const qint64 now = m_clock.now().toMSecsSinceEpoch();
    if (m_held >= messages && !lapsed(now))
        return true;
    const Record record(m_file);
    m_sent = record.read(now);
    m_isRead = true;
    const qint64 heldBefore = m_held;
    const bool keepsHeld = heldBefore > 0 && !lapsed(now);
    release();
    compact(m_sent, now);
    qint64 block = blockSize(messages, now);
    for (const Window &window : windows) {
        const int limit = m_limits.*window.limit;
        if (limit == 0)
            continue;
        qint64 inside = 0;
        for (auto i = m_sent.upper_bound(now - window.span); i != m_sent.end(); ++i)
            inside += i->second;
        block = std::min(block, limit - inside);
    }
    const bool isFree = block >= messages;
    if (!isFree && keepsHeld) { // fewer than wanted, and still this program's
        m_sent[m_until] += heldBefore;
        m_held = heldBefore;
        return false;
    }
    if (isFree) {
        m_until = now + hold;
        m_sent[m_until] += block;
    }
    if (isFree || heldBefore > 0)
        record.write(m_sent);
    if (isFree) {
        m_held = block;
        m_takenAt = now;
        m_used = 0;
    }
    return isFree;
}

void SendAllowance::spend()
{
    if (!isLimited())
        return;
    const qint64 now = m_clock.now().toMSecsSinceEpoch();
    if (m_held > 0 && !lapsed(now)) {
        --m_held;
        ++m_used;
        return;
    }
    // Used late, it counts from now.
    const Record record(m_file);
    m_sent = record.read(now);
    release();
    ++m_sent[now];
    record.write(m_sent);
}

qint64 SendAllowance::freeAt(qint64 messages, qint64 now) const
{
    qint64 at = now;
    for (const Window &window : windows) {
        const int limit = m_limits.*window.limit;
        if (limit == 0 || messages <= 0)
            continue;
        // As many as the limit leave in each span, so that only the first ones depend on the past.
        const qint64 spans = (messages - 1) / limit;
        qint64 toExpire = messages - spans * limit - limit;
        for (auto i = m_sent.upper_bound(now - window.span); i != m_sent.end(); ++i)
            toExpire += i->second;
        qint64 start = now;
        for (auto i = m_sent.upper_bound(now - window.span); i != m_sent.end() && toExpire > 0;
             ++i) {
            toExpire -= i->second;
            start = i->first + window.span;
        }
        at = std::max(at, start + spans * window.span);
    }
    return at;
}

QDateTime SendAllowance::freeAt(qint64 messages)
{
    const QDateTime now = m_clock.now();
    if (!isLimited())
        return now;
    const qint64 at = now.toMSecsSinceEpoch();
    if (!std::exchange(m_isRead, true)) {
        const Record record(m_file);
        m_sent = record.read(at);
    }
    const qint64 held = lapsed(at) ? 0 : m_held;
    return now.addMSecs(freeAt(messages - held, at) - at);
}

QDateTime expectedEnd(const QDateTime &now, qint64 handled, std::chrono::milliseconds elapsed,
                      qint64 left, int batchSize, std::chrono::milliseconds batchPause,
                      const QDateTime &freeAt)
{
    if (handled <= 0 || elapsed < std::chrono::seconds(3))
        return {};
    const qint64 pauses =
        left > 0 && batchSize > 0 ? (handled % batchSize + left - 1) / batchSize : 0;
    const double ms = double(elapsed.count()) * double(left) / double(handled) +
                      double(pauses) * double(batchPause.count());
    const QDateTime byRate = now.addMSecs(qint64(ms));
    return freeAt.isValid() ? std::max(byRate, freeAt) : byRate;
}
