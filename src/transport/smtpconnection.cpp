#include "smtpconnection.h"

#include "openingfault.h"

#include <poll.h>

#include <algorithm>
#include <utility>

namespace
{

using std::chrono::milliseconds;

// A server on a near network answers within this time, and asking again until then is faster than
// being put to sleep and woken by the system. Much longer would only take the processor from a
// server on the same machine.
constexpr std::chrono::microseconds eagerTime{25};
constexpr size_t receiveSize = 16 * 1024;
constexpr qsizetype longestReplyLine = 64 * 1024;

// Every method that proves a password. Left out are those that use a ticket of the system's own
// login: a server that offers one first would never be given the password.
constexpr char loginMethods[] = "AUTH=CRAM-MD5;AUTH=PLAIN;AUTH=LOGIN;AUTH=DIGEST-MD5;AUTH=NTLM";

QString seconds(milliseconds time)
{
    return QString::number(std::max<qint64>(1, (time.count() + 500) / 1000));
}

} // namespace

SmtpConnection::SmtpConnection(Yield &yield, SmtpTimeouts timeouts)
    : m_pace(yield)
    , m_timeouts(timeouts)
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    m_multi = curl_multi_init();
}

SmtpConnection::~SmtpConnection()
{
    close();
    curl_multi_cleanup(m_multi);
    curl_global_cleanup();
}

void SmtpConnection::configure(const MailHost &host, const SmtpLogin &login)
{
    curl_easy_setopt(m_easy, CURLOPT_URL, host.url().constData());
    curl_easy_setopt(m_easy, CURLOPT_CONNECT_ONLY, 1L);
    curl_easy_setopt(m_easy, CURLOPT_PROTOCOLS_STR, "smtp,smtps");
    curl_easy_setopt(m_easy, CURLOPT_PROXY, "");
    curl_easy_setopt(m_easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    curl_easy_setopt(m_easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_easy, CURLOPT_TCP_NODELAY, 1L);
    // A name server that does not answer must not keep the window waiting after the time limit.
    curl_easy_setopt(m_easy, CURLOPT_QUICK_EXIT, 1L);
    // The limits here tell connecting from answering, and are kept by runOpening(). The library's
    // own ones only must not be shorter.
    curl_easy_setopt(m_easy, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>((m_timeouts.connect + m_timeouts.reply).count()));

    const bool passwordInDanger = login.wanted && !host.loopback;
    curl_easy_setopt(m_easy, CURLOPT_USE_SSL,
                     static_cast<long>(passwordInDanger ? CURLUSESSL_ALL : CURLUSESSL_TRY));
    curl_easy_setopt(m_easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(m_easy, CURLOPT_SSL_VERIFYHOST, 2L);
    if (const QByteArray file = qgetenv("SSL_CERT_FILE"); !file.isEmpty())
        curl_easy_setopt(m_easy, CURLOPT_CAINFO, file.constData());

    if (login.wanted) {
        curl_easy_setopt(m_easy, CURLOPT_USERNAME, login.user.toUtf8().constData());
        curl_easy_setopt(m_easy, CURLOPT_PASSWORD, login.password.toUtf8().constData());
        curl_easy_setopt(m_easy, CURLOPT_LOGIN_OPTIONS, loginMethods);
    }
    curl_easy_setopt(m_easy, CURLOPT_HEADERFUNCTION, &SmtpConnection::takeReplyLine);
    curl_easy_setopt(m_easy, CURLOPT_HEADERDATA, this);
}

size_t SmtpConnection::takeReplyLine(char *data, size_t size, size_t count, void *self)
{
    auto &that = *static_cast<SmtpConnection *>(self);
    const QByteArrayView line(data, static_cast<qsizetype>(size * count));
    that.m_openingLimit = Pace::Clock::now() + that.m_timeouts.reply;
    if (that.m_openingReplyEnded)
        that.m_openingReply = {};
    const bool first = that.m_openingReply.code() == 0;
    const auto step = that.m_openingReply.add(line);
    that.m_openingReplyEnded = step != SmtpReply::Step::More;
    // The library would read on for something better until the time is over.
    if (step == SmtpReply::Step::Malformed)
        return CURL_WRITEFUNC_ERROR;
    switch (that.m_openingReply.code()) {
    case 220: // the greeting, or the start of encryption: what was offered before is void
        that.m_offers = {};
        break;
    case 235:
        that.m_loggedIn = true;
        break;
    case 250:
        if (!first && line.size() > 4) {
            const QByteArray keyword = line.sliced(4).trimmed().toByteArray().toUpper();
            that.m_offers.pipelining |= keyword == "PIPELINING";
            that.m_offers.smtpUtf8 |= keyword == "SMTPUTF8";
        }
        break;
    default:
        break;
    }
    return size * count;
}

bool SmtpConnection::open(const MailHost &host, const SmtpLogin &login)
{
    close();
    m_host = host;
    m_loginWanted = login.wanted;
    m_openingReply = {};
    m_openingReplyEnded = true;
    m_loggedIn = false;
    m_offers = {};
    m_easy = curl_easy_init();
    if (!m_easy)
        return fail(QStringLiteral("There is not enough memory to connect to %1").arg(host.name));
    configure(host, login);
    curl_multi_add_handle(m_multi, m_easy);
    if (!runOpening())
        return false;
    curl_easy_getinfo(m_easy, CURLINFO_ACTIVESOCKET, &m_socket);
    if (m_loginWanted && !m_loggedIn)
        return fail(QStringLiteral("%1 offers no login").arg(host.name));
    return true;
}

bool SmtpConnection::runOpening()
{
    m_openingLimit = Pace::Clock::now() + m_timeouts.connect;
    bool connected = false;
    for (;;) {
        int running = 0;
        curl_multi_perform(m_multi, &running);
        if (running == 0)
            break;
        curl_off_t connectTime = 0;
        curl_easy_getinfo(m_easy, CURLINFO_CONNECT_TIME_T, &connectTime);
        if (!connected && connectTime > 0) {
            connected = true;
            m_openingLimit = Pace::Clock::now() + m_timeouts.reply;
        }
        if (Pace::Clock::now() >= m_openingLimit)
            return connected ? failLate()
                             : fail(QStringLiteral("%1 could not be reached within %2 seconds")
                                        .arg(serverName(), seconds(m_timeouts.connect)));
        curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(Pacer::frame.count()), nullptr);
        m_pace.step();
    }
    int queued = 0;
    const CURLMsg *message = curl_multi_info_read(m_multi, &queued);
    const CURLcode code = message ? message->data.result : CURLE_FAILED_INIT;
    return code == CURLE_OK || fail(openingFault(m_host, m_easy, code, m_openingReply));
}

bool SmtpConnection::waitFor(short events, Instant limit)
{
    const auto now = Pace::Clock::now();
    if (now >= limit)
        return failLate();
    const auto left = std::chrono::ceil<milliseconds>(limit - now);
    pollfd descriptor{m_socket, events, 0};
    ::poll(&descriptor, 1, static_cast<int>(std::min(left, Pacer::frame).count()));
    m_pace.step();
    return true;
}

bool SmtpConnection::write(QByteArrayView bytes)
{
    if (!isOpen())
        return false;
    auto limit = Pace::Clock::now() + m_timeouts.reply;
    while (!bytes.isEmpty()) {
        size_t sent = 0;
        const CURLcode code =
            curl_easy_send(m_easy, bytes.data(), static_cast<size_t>(bytes.size()), &sent);
        if (code == CURLE_AGAIN) {
            if (!waitFor(POLLOUT, limit))
                return false;
            continue;
        }
        if (code != CURLE_OK)
            return failLost();
        bytes = bytes.sliced(static_cast<qsizetype>(sent));
        limit = Pace::Clock::now() + m_timeouts.reply;
    }
    return true;
}

bool SmtpConnection::receive(Instant limit)
{
    m_received.remove(0, m_consumed);
    m_consumed = 0;
    const auto eagerUntil = Pace::Clock::now() + eagerTime;
    char buffer[receiveSize];
    for (;;) {
        size_t count = 0;
        const CURLcode code = curl_easy_recv(m_easy, buffer, sizeof buffer, &count);
        if (code == CURLE_OK && count > 0) {
            m_received.append(buffer, static_cast<qsizetype>(count));
            return true;
        }
        if (code != CURLE_AGAIN)
            return failLost();
        if (Pace::Clock::now() >= eagerUntil && !waitFor(POLLIN, limit))
            return false;
    }
}

SmtpReply SmtpConnection::read()
{
    const auto limit = Pace::Clock::now() + m_timeouts.reply;
    SmtpReply reply;
    while (isOpen()) {
        const qsizetype end = m_received.indexOf('\n', m_consumed);
        if (end < 0) {
            if (m_received.size() - m_consumed > longestReplyLine) {
                fail(QStringLiteral("%1 does not answer like an SMTP server").arg(serverName()));
                return {};
            }
            if (!receive(limit))
                return {};
            continue;
        }
        const auto step =
            reply.add(QByteArrayView(m_received).sliced(m_consumed, end - m_consumed));
        m_consumed = end + 1;
        if (step == SmtpReply::Step::Complete)
            return reply;
        if (step == SmtpReply::Step::Malformed)
            fail(QStringLiteral("%1 does not answer like an SMTP server").arg(serverName()));
    }
    return {};
}

void SmtpConnection::quit()
{
    if (!isOpen())
        return;
    const auto usual = std::exchange(m_timeouts.reply, std::min(m_timeouts.reply, m_timeouts.quit));
    if (write("QUIT\r\n"))
        read();
    m_timeouts.reply = usual;
    close();
}

bool SmtpConnection::fail(const QString &fault)
{
    m_fault = fault;
    m_timedOut = false;
    close();
    return false;
}

bool SmtpConnection::failLate()
{
    fail(QStringLiteral("%1 did not answer within %2 seconds")
             .arg(serverName(), seconds(m_timeouts.reply)));
    m_timedOut = true;
    return false;
}

bool SmtpConnection::failLost()
{
    return fail(QStringLiteral("The connection to %1 was lost").arg(serverName()));
}

void SmtpConnection::close()
{
    if (!m_easy)
        return;
    // For a connect-only handle this also closes the socket, without another word to the server.
    curl_multi_remove_handle(m_multi, m_easy);
    curl_easy_cleanup(m_easy);
    m_easy = nullptr;
    m_socket = CURL_SOCKET_BAD;
    m_received.clear();
    m_consumed = 0;
}
