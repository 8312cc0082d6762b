#include "smtpconnection.h"

#include "openingfault.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace
{

using std::chrono::milliseconds;

// A server on a near network answers within this time, and asking again until then is faster than
// being put to sleep and woken by the system. Much longer would only take the processor from a
// server on the same machine.
constexpr std::chrono::microseconds eagerTime{25};
constexpr size_t receiveSize = size_t{16} * 1024;
// An encrypted block of up to this size goes out as a whole or not at all, so that the count of
// what went out is true.
constexpr qsizetype largestWrite = qsizetype{16} * 1024;
constexpr qsizetype longestReplyLine = qsizetype{64} * 1024;

// Every method that proves a password. Left out are those that use a ticket of the system's own
// login: a server that offers one first would never be given the password.
constexpr char loginMethods[] = "AUTH=CRAM-MD5;AUTH=PLAIN;AUTH=LOGIN;AUTH=DIGEST-MD5;AUTH=NTLM";

// The limits of the steps are kept here. The library's own ones must only not be shorter: it would
// take half of them for the whole opening.
constexpr std::chrono::hours libraryLimit{24};

QString spelledOut(milliseconds time)
{
    if (time >= std::chrono::minutes(2))
        return QStringLiteral("%1 minutes").arg(time.count() / 60'000);
    return QStringLiteral("%1 seconds").arg(std::max<qint64>(1, (time.count() + 500) / 1000));
}

/// The forms in which a server may repeat what it was told at a login.
QByteArrayList secretsOf(const SmtpLogin &login)
{
    const QByteArray password = login.password.toUtf8();
    if (!login.wanted || password.isEmpty())
        return {};
    const QByteArray plain = '\0' + login.user.toUtf8() + '\0' + password;
    return {plain.toBase64(QByteArray::OmitTrailingEquals),
            password.toBase64(QByteArray::OmitTrailingEquals), password};
}

} // namespace

SmtpConnection::SmtpConnection(Yield &yield, const Smtp::Times &times)
    : m_pace(yield)
    , m_times(times)
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
    curl_easy_setopt(m_easy, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(milliseconds(libraryLimit).count()));
    curl_easy_setopt(m_easy, CURLOPT_SERVER_RESPONSE_TIMEOUT,
                     static_cast<long>(std::chrono::seconds(libraryLimit).count()));

    const bool passwordInDanger = login.wanted && !host.loopback;
    curl_easy_setopt(m_easy, CURLOPT_USE_SSL,
                     static_cast<long>(passwordInDanger ? CURLUSESSL_ALL : CURLUSESSL_TRY));
    curl_easy_setopt(m_easy, CURLOPT_SSL_VERIFYPEER, host.loopback ? 0L : 1L);
    curl_easy_setopt(m_easy, CURLOPT_SSL_VERIFYHOST, host.loopback ? 0L : 2L);
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
    if (that.m_openingReplyEnded)
        that.m_openingReply = {};
    const bool first = that.m_openingReply.code() == 0;
    const auto step = that.m_openingReply.add(line);
    that.m_openingReplyEnded = step != SmtpReply::Step::More;
    if (that.m_openingReplyEnded)
        that.m_openingBegin = Pace::Clock::now();
    // The library would read on for something better until the time is over, and go on with a
    // server that says goodbye instead of encrypting.
    if (step == SmtpReply::Step::Malformed ||
        (that.m_openingReplyEnded && that.m_openingReply.code() == SmtpReply::serviceClosing))
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
            that.m_offers.eightBits |= keyword == "8BITMIME";
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
    m_secrets = secretsOf(login);
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
    m_openingBegin = Pace::Clock::now();
    Smtp::Step step = Smtp::Connect;
    for (;;) {
        int running = 0;
        curl_multi_perform(m_multi, &running);
        if (running == 0)
            break;
        curl_off_t connectTime = 0;
        curl_easy_getinfo(m_easy, CURLINFO_CONNECT_TIME_T, &connectTime);
        if (step == Smtp::Connect && connectTime > 0) {
            step = Smtp::Greet;
            m_openingBegin = Pace::Clock::now();
        }
        if (Pace::Clock::now() >= m_openingBegin + m_times[step]) {
            close();
            return noteLate(step);
        }
        curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(Interval::frame.count()), nullptr);
        m_pace.step();
    }
    int queued = 0;
    const CURLMsg *message = curl_multi_info_read(m_multi, &queued);
    const CURLcode code = message ? message->data.result : CURLE_FAILED_INIT;
    m_openingReply.hide(m_secrets);
    return code == CURLE_OK || fail(openingFault(m_host, m_easy, code, m_openingReply));
}

bool SmtpConnection::waitFor(short events, Smtp::Step step, Instant begin)
{
    const auto left = std::chrono::ceil<milliseconds>(begin + m_times[step] - Pace::Clock::now());
    if (left.count() <= 0)
        return noteLate(step);
#ifdef TCP_QUICKACK
    // Some servers send the second of several replies only when the first was acknowledged, and
    // the system would do that after 40 ms. It forgets the wish with each acknowledgement.
    const int on = 1;
    if (events == POLLIN)
        ::setsockopt(m_socket, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
#endif
    pollfd descriptor{m_socket, events, 0};
    ::poll(&descriptor, 1, static_cast<int>(std::min(left, Interval::frame).count()));
    m_pace.step();
    return true;
}

qsizetype SmtpConnection::write(QByteArrayView bytes, Smtp::Step step)
{
    const qsizetype all = bytes.size();
    auto begin = Pace::Clock::now();
    while (isOpen() && !m_isBroken && !bytes.isEmpty()) {
        size_t sent = 0;
        const CURLcode code = curl_easy_send(
            m_easy, bytes.data(), static_cast<size_t>(std::min(bytes.size(), largestWrite)), &sent);
        if (code == CURLE_AGAIN) {
            m_isBroken = !waitFor(POLLOUT, step, begin);
        } else if (code != CURLE_OK) {
            m_isBroken = !noteLost();
        } else {
            bytes = bytes.sliced(static_cast<qsizetype>(sent));
            begin = Pace::Clock::now();
        }
    }
    return all - bytes.size();
}

/// Takes what has come. CURLE_AGAIN: nothing.
CURLcode SmtpConnection::receive()
{
    char buffer[receiveSize];
    size_t count = 0;
    const CURLcode code = curl_easy_recv(m_easy, buffer, sizeof buffer, &count);
    if (code == CURLE_OK && count == 0)
        return CURLE_RECV_ERROR; // the server has closed the link
    m_received.append(buffer, static_cast<qsizetype>(count));
    return code;
}

bool SmtpConnection::receive(Smtp::Step step, Instant begin)
{
    m_received.remove(0, m_consumed);
    m_consumed = 0;
    const auto eagerUntil = Pace::Clock::now() + eagerTime;
    bool isInTime = !m_isBroken;
    for (;;) {
        const CURLcode code = receive();
        if (code == CURLE_OK)
            return true;
        if (code != CURLE_AGAIN && isInTime)
            noteLost();
        if (code != CURLE_AGAIN || !isInTime) {
            close();
            return false;
        }
        if (Pace::Clock::now() >= eagerUntil)
            isInTime = waitFor(POLLIN, step, begin);
    }
}

bool SmtpConnection::isReplyNear(Smtp::Step step)
{
    if (m_consumed < m_received.size() || m_isBroken)
        return true;
    waitFor(POLLIN, step, Pace::Clock::now());
    pollfd descriptor{m_socket, POLLIN, 0};
    return ::poll(&descriptor, 1, 0) != 0;
}

bool SmtpConnection::isQuiet()
{
    if (!isOpen() || m_consumed < m_received.size())
        return false;
    // A look at the socket: most often there is nothing, and the library needs long to say so.
    char first = 0;
    if (::recv(m_socket, &first, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN)
        return true;
    const CURLcode code = receive();
    if (code != CURLE_OK && code != CURLE_AGAIN) {
        noteLost();
        close();
    }
    return code == CURLE_AGAIN;
}

SmtpReply SmtpConnection::read(Smtp::Step step)
{
    const auto begin = Pace::Clock::now();
    SmtpReply reply;
    while (isOpen()) {
        const qsizetype end = m_received.indexOf('\n', m_consumed);
        if (end < 0) {
            if (m_received.size() - m_consumed > longestReplyLine) {
                fail(QStringLiteral("%1 does not answer like an SMTP server").arg(serverName()));
                return {};
            }
            if (!receive(step, begin))
                return {};
            continue;
        }
        const auto added =
            reply.add(QByteArrayView(m_received).sliced(m_consumed, end - m_consumed));
        m_consumed = end + 1;
        if (added == SmtpReply::Step::Complete) {
            reply.hide(m_secrets);
            return reply;
        }
        if (added == SmtpReply::Step::Malformed)
            fail(QStringLiteral("%1 does not answer like an SMTP server").arg(serverName()));
    }
    return {};
}

void SmtpConnection::quit()
{
    if (!isOpen())
        return;
    write("QUIT\r\n", Smtp::Quit);
    read(Smtp::Quit);
    close();
}

bool SmtpConnection::note(const QString &fault)
{
    m_fault = fault;
    m_timedOut = false;
    return false;
}

bool SmtpConnection::noteLate(Smtp::Step step)
{
    note((step == Smtp::Connect ? QStringLiteral("%1 could not be reached within %2")
                                : QStringLiteral("%1 did not answer within %2"))
             .arg(serverName(), spelledOut(m_times[step])));
    m_timedOut = true;
    return false;
}

bool SmtpConnection::noteLost()
{
    return note(QStringLiteral("The connection to %1 was lost").arg(serverName()));
}

bool SmtpConnection::fail(const QString &fault)
{
    close();
    return note(fault);
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
    m_isBroken = false;
}
