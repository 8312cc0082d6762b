#include "domainprefix.h"

#include <QRegularExpression>
#include <QStringList>
#include <QUrl>

#include <algorithm>

namespace
{

/// In characters. A page that has nothing but sources grows to many times its size.
constexpr qsizetype largestResult = qsizetype{32} * 1024 * 1024;

/// In characters; more than any address that a server takes.
constexpr qsizetype longestBase = 4096;

bool is(QStringView text, const char *word)
{
    return text.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
}

/// Where relative references lead.
class Base
{
public:
    explicit Base(const QUrl &url)
        : m_scheme(url.scheme())
        , m_site(encoded(url, QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment))
        , m_page(encoded(url, QUrl::RemoveQuery | QUrl::RemoveFragment))
        , m_folder(url.path(QUrl::FullyEncoded).section(QLatin1Char('/'), 0, -2))
    {
        m_folder.replace(QLatin1Char('\''), QLatin1String("%27"));
    }

    /// `reference` made absolute, as text: it is not encoded or cleaned in any way.
    QString resolved(const QString &reference) const
    {
        static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*:"));
        if (reference.isEmpty() || reference.startsWith(QLatin1Char('#')) ||
            reference.startsWith(QLatin1String("%%")) || scheme.match(reference).hasMatch())
            return reference;
        if (reference.startsWith(QLatin1String("//")))
            return m_scheme + QLatin1Char(':') + reference;
        if (reference.startsWith(QLatin1Char('/')))
            return m_site + reference;
        if (reference.startsWith(QLatin1Char('?')))
            return m_page + reference;

        QStringView folder = m_folder;
        qsizetype start = 0;
        for (;;) {
            const QStringView rest = QStringView(reference).sliced(start);
            if (rest.startsWith(QLatin1String("../"))) {
                // The site has nothing above it.
                folder = folder.first(std::max<qsizetype>(0, folder.lastIndexOf(QLatin1Char('/'))));
                start += 3;
            } else if (rest.startsWith(QLatin1String("./"))) {
                start += 2;
            } else {
                break;
            }
        }
        return QString(m_site)
            .append(folder)
            .append(QLatin1Char('/'))
            .append(QStringView(reference).sliced(start));
    }

private:
    /// An apostrophe would end the attribute that it comes into.
    static QString encoded(const QUrl &url, QUrl::FormattingOptions options)
    {
        return url.toString(options | QUrl::FullyEncoded | QUrl::RemoveUserInfo)
            .replace(QLatin1Char('\''), QLatin1String("%27"));
    }

    QString m_scheme;
    QString m_site;   ///< "https://example.org"
    QString m_page;   ///< the address without a query
    QString m_folder; ///< "/news", or nothing for the site's own
};

class Rewriter
{
public:
    Rewriter(const QString &document, const QUrl &address)
        : m_text(document)
        , m_base(address)
    {
    }

    std::optional<QString> run()
    {
        qsizetype at = 0;
        while ((at = m_text.indexOf(QLatin1Char('<'), at)) >= 0) {
            at = pastMarkup(at);
            if (m_result.size() > largestResult)
                return {};
        }
        return m_result + m_text.sliced(m_copied);
    }

private:
    /// Each of these returns where the search for markup goes on.
    qsizetype pastMarkup(qsizetype at)
    {
        const QStringView rest = QStringView(m_text).sliced(at);
        if (rest.startsWith(QLatin1String("<!--[if"), Qt::CaseInsensitive))
            return past(QLatin1String("]>"), at);
        if (rest.startsWith(QLatin1String("<!--"))) { // "<!-->" is a whole one
            const qsizetype end = past(QLatin1String("-->"), at + 2);
            const qsizetype inside = std::min(at + 4, end);
            const QStringView comment = QStringView(m_text).sliced(inside, end - inside);
            const qsizetype wrongEnd = comment.indexOf(QLatin1String("--!>"));
            return wrongEnd < 0 ? end : inside + wrongEnd + 4;
        }
        const bool isTag = rest.size() > 1 && rest[1] < QChar(0x80) && rest[1].isLetter();
        return isTag ? pastTag(at + 1) : at + 1;
    }

    qsizetype past(QLatin1String mark, qsizetype from) const
    {
        const qsizetype found = m_text.indexOf(mark, from);
        return found < 0 ? m_text.size() : found + mark.size();
    }

    qsizetype pastTag(qsizetype at)
    {
        const QStringView name = take(at, "/>");
        for (;;) {
            while (at < m_text.size() && (isBlank(at) || m_text[at] == QLatin1Char('/')))
                ++at;
            if (at >= m_text.size())
                return at;
            if (m_text[at] == QLatin1Char('>'))
                break;
            at = pastAttribute(name, at);
        }
        for (const char *raw : {"script", "style", "textarea", "title", "xmp"}) {
            if (is(name, raw)) {
                const qsizetype end =
                    m_text.indexOf(QStringLiteral("</") + name.toString(), at, Qt::CaseInsensitive);
                return end < 0 ? m_text.size() : end + 1;
            }
        }
        return at + 1;
    }

    qsizetype pastAttribute(QStringView tag, qsizetype at)
    {
        ++at; // whatever it is, also "=", a name begins here
        const qsizetype nameStart = at - 1;
        take(at, "/>=");
        const QStringView name = QStringView(m_text).sliced(nameStart, at - nameStart);
        skipBlanks(at);
        if (at >= m_text.size() || m_text[at] != QLatin1Char('='))
            return at;
        skipBlanks(++at);
        if (at >= m_text.size())
            return at;
        const QChar quote = m_text[at];
        if (quote != QLatin1Char('"') && quote != QLatin1Char('\'')) {
            const QStringView value = take(at, ">");
            found(tag, name, at - value.size(), at);
            return at;
        }
        const qsizetype end = m_text.indexOf(quote, at + 1);
        if (end < 0)
            return m_text.size();
        found(tag, name, at + 1, end);
        return end + 1;
    }

    void found(QStringView tag, QStringView attribute, qsizetype start, qsizetype end)
    {
        const bool isBase = is(tag, "base") && is(attribute, "href") && !m_hasBase;
        if ((!isBase && !is(attribute, "src")) || m_result.size() > largestResult)
            return;
        skipBlanks(start);
        if (start >= end)
            return;
        const QString absolute = m_base.resolved(m_text.sliced(start, end - start));
        if (isBase) {
            m_hasBase = true;
            const QUrl url(absolute.trimmed());
            if (url.isValid() && !url.host().isEmpty() && absolute.size() <= longestBase &&
                (is(url.scheme(), "http") || is(url.scheme(), "https")))
                m_base = Base(url);
            return;
        }
        m_result += QStringView(m_text).sliced(m_copied, start - m_copied);
        m_result += absolute;
        m_copied = end;
    }

    /// What HTML takes for a blank between attributes.
    bool isBlank(qsizetype at) const { return QLatin1String(" \t\n\f\r").contains(m_text[at]); }

    void skipBlanks(qsizetype &at) const
    {
        while (at < m_text.size() && isBlank(at))
            ++at;
    }

    /// What is here up to a blank or one of `ends`.
    QStringView take(qsizetype &at, const char *ends) const
    {
        const qsizetype start = at;
        while (at < m_text.size() && !isBlank(at) && !QLatin1String(ends).contains(m_text[at]))
            ++at;
        return QStringView(m_text).sliced(start, at - start);
    }

    const QString &m_text;
    Base m_base;
    bool m_hasBase = false;
    QString m_result;
    qsizetype m_copied = 0; ///< how much of the text is in the result
};

} // namespace

std::optional<QString> withDomainPrefix(const QString &document, const QString &address)
{
    return Rewriter(document, QUrl(address)).run();
}
