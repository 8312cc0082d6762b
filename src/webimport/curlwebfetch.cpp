#include "curlwebfetch.h"

#include "gunzip.h"
#include "webtext.h"

#include <QRegularExpression>
#include <QUrl>

#include <cerrno>
#include <memory>

namespace
{

constexpr long mostRedirects = 10;

struct Cleanup {
    void operator()(CURL *easy) const { curl_easy_cleanup(easy); }
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

bool isWeb(const QUrl &url)
{
    return url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
}

/// Why the address cannot be fetched; empty when it can.
QString addressFault(const QString &address, const QUrl &url)
{
    if (address.isEmpty())
        return QStringLiteral("Please enter the address of a web page, such as "
                              "https://example.org/news.html.");
    if (url.isValid() && !isWeb(url))
        return QStringLiteral("Only addresses that begin with http:// or https:// can be imported, "
                              "and %1 does not.")
            .arg(address);
    if (!url.isValid() || url.host().isEmpty())
        return QStringLiteral("%1 is not the address of a web page.").arg(address);
    return {};
}

QUrl lastAddress(CURL *easy)
{
    const char *address = nullptr;
    curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &address);
    return QUrl::fromEncoded(address);
}

QString connectFault(CURL *easy, const QUrl &url)
{
    long reason = 0;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &reason);
    const int usualPort = url.scheme() == QLatin1String("https") ? 443 : 80;
    const QString place =
        QStringLiteral("%1 on port %2").arg(url.host(), QString::number(url.port(usualPort)));
    if (reason == ECONNREFUSED)
        return QStringLiteral("Nothing answers at %1: the connection was refused.").arg(place);
    return QStringLiteral("%1 cannot be reached over the network.").arg(place);
}

QString timeFault(std::chrono::milliseconds taken, const WebLimits &limits, const QString &host)
{
    const bool allIsOver = taken >= limits.total;
    const auto limit = allIsOver ? limits.total : limits.connect;
    const QString text =
        allIsOver ? QStringLiteral("%1 did not send the whole document within %2 seconds.")
                  : QStringLiteral("%1 could not be reached within %2 seconds.");
    return text.arg(host, QString::number(std::chrono::ceil<std::chrono::seconds>(limit).count()));
}

} // namespace

CurlWebFetch::CurlWebFetch(Yield &yield, WebLimits limits)
    : m_pace(yield)
    , m_limits(limits)
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
}

CurlWebFetch::~CurlWebFetch()
{
    curl_global_cleanup();
}

WebDocument CurlWebFetch::fetch(const QString &address)
{
    const QString typed = address.trimmed();
    // What has a scheme needs no guess, which would make a host "http" of a port out of range.
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    const QUrl url = scheme.match(typed).hasMatch() ? QUrl(typed) : QUrl::fromUserInput(typed);
    if (const QString fault = addressFault(typed, url); !fault.isEmpty())
        return {{}, {}, fault};

    m_aborted = m_isTooLarge = false;
    m_status.clear();
    m_body.clear();
    m_detail.fill('\0');
    const std::unique_ptr<CURL, Cleanup> easy(curl_easy_init());
    configure(easy.get(), url.toEncoded(QUrl::RemoveFragment));
    // The library could decompress by itself, but takes a document that is cut off for a whole one.
    const std::unique_ptr<curl_slist, Cleanup> headers(
        curl_slist_append(nullptr, "Accept-Encoding: gzip"));
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
    const CURLcode code = run(easy.get());
    QString fault = failure(easy.get(), code);
    if (fault.isEmpty())
        fault = decompress(easy.get());
    if (!fault.isEmpty())
        return {{}, {}, fault};
    const char *contentType = nullptr;
    curl_easy_getinfo(easy.get(), CURLINFO_CONTENT_TYPE, &contentType);
    const QByteArray body = std::exchange(m_body, {});
    return {decodeWebText(body, contentType),
            lastAddress(easy.get()).toString(QUrl::FullyEncoded | QUrl::RemoveUserInfo),
            {}};
}

void CurlWebFetch::configure(CURL *easy, const QByteArray &address)
{
    curl_easy_setopt(easy, CURLOPT_URL, address.constData());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, mostRedirects);
    // Some sites lead in a circle until a cookie comes back. They are forgotten afterwards.
    curl_easy_setopt(easy, CURLOPT_COOKIEFILE, "");
    curl_easy_setopt(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Quillbright");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer must not keep the window waiting after the time limit.
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_limits.connect.count()));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(m_limits.total.count()));
    // Saves the time where the server announces the size; takeBody() has the last word.
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_limits.size));
    if (const QByteArray file = qgetenv("SSL_CERT_FILE"); !file.isEmpty())
        curl_easy_setopt(easy, CURLOPT_CAINFO, file.constData());
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &CurlWebFetch::takeHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &CurlWebFetch::takeBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, m_detail.data());
}

CURLcode CurlWebFetch::run(CURL *easy)
{
    CURLM *multi = curl_multi_init();
    curl_multi_add_handle(multi, easy);
    CURLcode code = CURLE_ABORTED_BY_CALLBACK;
    const auto start = Pace::Clock::now();
    while (!m_aborted) {
        int running = 0;
        curl_multi_perform(multi, &running);
        if (running == 0) {
            int queued = 0;
            if (const CURLMsg *message = curl_multi_info_read(multi, &queued))
                code = message->data.result;
            break;
        }
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(Interval::frame.count()), nullptr);
        m_pace.step();
    }
    m_taken = std::chrono::ceil<std::chrono::milliseconds>(Pace::Clock::now() - start);
    curl_multi_remove_handle(multi, easy);
    curl_multi_cleanup(multi);
    return code;
}

size_t CurlWebFetch::takeHeader(char *data, size_t size, size_t count, void *self)
{
    auto &that = *static_cast<CurlWebFetch *>(self);
    const QByteArrayView line(data, static_cast<qsizetype>(size * count));
    // The first line of an answer; an earlier answer was a redirect.
    if (line.startsWith("HTTP/"))
        that.m_status =
            line.sliced(std::max<qsizetype>(0, line.indexOf(' '))).trimmed().toByteArray();
    return size * count;
}

size_t CurlWebFetch::takeBody(char *data, size_t size, size_t count, void *self)
{
    auto &that = *static_cast<CurlWebFetch *>(self);
    const auto length = static_cast<qsizetype>(size * count);
    that.m_isTooLarge = length > that.m_limits.size - that.m_body.size();
    if (that.m_isTooLarge)
        return 0;
    that.m_body.append(data, length);
    return size * count;
}

/// Why the body cannot be decompressed; empty when it could, or needed not.
QString CurlWebFetch::decompress(CURL *easy)
{
    curl_header *header = nullptr;
    if (m_body.isEmpty() ||
        curl_easy_header(easy, "Content-Encoding", 0, CURLH_HEADER, -1, &header) != CURLHE_OK)
        return {};
    const QByteArray encoding = QByteArray(header->value).trimmed().toLower();
    if (encoding.isEmpty() || encoding == "identity" || encoding == "none")
        return {};
    const bool isGzip = encoding == "gzip" || encoding == "x-gzip";
    Gunzipped file = isGzip ? gunzip(m_body, m_limits.size) : Gunzipped();
    if (file.result == Gunzipped::TooLarge)
        return sizeFault();
    if (file.result == Gunzipped::Damaged)
        return QStringLiteral("The document of %1 arrived damaged: it cannot be decompressed.")
            .arg(lastAddress(easy).host());
    m_body = std::move(file.data);
    return {};
}

QString CurlWebFetch::sizeFault() const
{
    return QStringLiteral("The document is larger than %1 MB.")
        .arg(m_limits.size / (qsizetype{1024} * 1024));
}

QString CurlWebFetch::failure(CURL *easy, CURLcode code) const
{
    const QUrl url = lastAddress(easy);
    const QString host = url.host();
    if (m_isTooLarge)
        return sizeFault();
    switch (code) {
    case CURLE_OK:
        break;
    case CURLE_ABORTED_BY_CALLBACK:
        return QStringLiteral("The import was stopped.");
    case CURLE_FILESIZE_EXCEEDED:
        return sizeFault();
    case CURLE_COULDNT_RESOLVE_HOST:
        return QStringLiteral("The web server %1 was not found: no address is known for this name.")
            .arg(host);
    case CURLE_COULDNT_CONNECT:
        return connectFault(easy, url);
    case CURLE_OPERATION_TIMEDOUT:
        return timeFault(m_taken, m_limits, host);
    case CURLE_TOO_MANY_REDIRECTS:
        return QStringLiteral("%1 leads from one address to the next without end.").arg(host);
    case CURLE_UNSUPPORTED_PROTOCOL:
        if (isWeb(url))
            return QStringLiteral("%1 does not answer like a web server.").arg(host);
        return QStringLiteral("The address leads to another one that is not on the web, which is "
                              "not followed.");
    case CURLE_PEER_FAILED_VERIFICATION:
        return QStringLiteral("The certificate of %1 cannot be trusted: %2.")
            .arg(host, QString::fromUtf8(m_detail.data()));
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
        return QStringLiteral("%1 closed the connection before the whole document had arrived.")
            .arg(host);
    default:
        return QStringLiteral("The document could not be fetched from %1: %2.")
            .arg(host,
                 QString::fromUtf8(m_detail.front() ? m_detail.data() : curl_easy_strerror(code)));
    }
    return m_status.startsWith('2')
               ? QString()
               : QStringLiteral("%1 answered: %2.").arg(host, QString::fromUtf8(m_status));
}
