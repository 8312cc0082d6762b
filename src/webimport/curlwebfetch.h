#pragma once

#include "pace.h"
#include "webfetch.h"

#include <curl/curl.h>

#include <array>

/// How much time and room a fetch may take.
struct WebLimits {
    std::chrono::milliseconds connect{30'000};
    std::chrono::milliseconds total{60'000};      ///< from the first step to the last byte
    qsizetype size = qsizetype{16} * 1024 * 1024; ///< in bytes, decompressed
};

/// Fetches over http and https. Redirects are followed within those two.
class CurlWebFetch final : public WebFetch
{
public:
    explicit CurlWebFetch(Yield &yield, WebLimits limits = {});
    ~CurlWebFetch() override;
    Q_DISABLE_COPY(CurlWebFetch)

    WebDocument fetch(const QString &address) override;
    void abort() override { m_aborted = true; }

private:
    void configure(CURL *easy, const QByteArray &address);
    CURLcode run(CURL *easy);
    QString failure(CURL *easy, CURLcode code) const;
    QString decompress(CURL *easy);
    QString sizeFault() const;
    static size_t takeBody(char *data, size_t size, size_t count, void *self);
    static size_t takeHeader(char *data, size_t size, size_t count, void *self);

    Pace m_pace;
    WebLimits m_limits;
    bool m_aborted = false;
    bool m_isTooLarge = false;
    std::chrono::milliseconds m_taken{0};
    QByteArray m_status; ///< "404 Not Found"
    QByteArray m_body;
    std::array<char, CURL_ERROR_SIZE> m_detail = {}; ///< the library's own words
};
