#include "mimefields.h"

// GLib has structure members of this name.
#undef signals
#include <gmime/gmime.h>

#include <algorithm>
#include <memory>

namespace
{

constexpr qsizetype longestPlainWord = 200;
// In base64 and with the name of the longest field before it, this fits into 76 characters.
constexpr qsizetype bytesInEncodedWord = 39;

template <auto function>
struct Call {
    template <typename T>
    void operator()(T *object) const
    {
        function(object);
    }
};
template <typename T, auto function>
using Owned = std::unique_ptr<T, Call<function>>;

/// `text` for a header field: whatever could end a line becomes a blank.
QByteArray fieldText(QString text)
{
    for (QChar &c : text) {
        const auto category = c.category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph)
            c = u' ';
    }
    return text.toUtf8();
}

/// Whether `text` may stand in a field as it is: it has only what a reader takes for itself, and
/// blanks where the lines can be folded.
bool isPlain(const QByteArray &text)
{
    qsizetype wordLength = 0;
    const bool printable = std::all_of(text.begin(), text.end(), [&wordLength](char c) {
        wordLength = c == ' ' ? 0 : wordLength + 1;
        return c >= ' ' && c < 0x7f && wordLength <= longestPlainWord;
    });
    return printable && !text.contains("=?");
}

/// `text` as encoded words on lines of their own. GMime's own ones are not used because they grow
/// beyond the 75 characters that RFC 2047 allows when the text has no blanks.
QByteArray encodedWords(const QByteArray &text)
{
    QByteArray words;
    for (qsizetype from = 0; from < text.size();) {
        qsizetype end = std::min(from + bytesInEncodedWord, text.size());
        const auto splitsCharacter = [&text](qsizetype at) {
            return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xc0) == 0x80;
        };
        while (splitsCharacter(end))
            --end;
        if (!words.isEmpty())
            words += "\r\n ";
        words += "=?UTF-8?B?" + text.mid(from, end - from).toBase64() + "?=";
        from = end;
    }
    return words;
}

QByteArray taken(char *text)
{
    QByteArray bytes(text);
    g_free(text);
    return bytes;
}

/// `field` ("Name: value", in ASCII) in lines of a good length.
QByteArray folded(const QByteArray &field)
{
    QByteArray lines =
        taken(g_mime_utils_unstructured_header_fold(nullptr, nullptr, field.constData())).trimmed();
    return lines.replace('\n', "\r\n") + "\r\n";
}

/// Readies the library before its first use; it is never taken down.
void useLibrary()
{
    static const bool ready = (g_mime_init(), true);
    Q_UNUSED(ready);
}

} // namespace

QByteArray subjectField(const QString &subject)
{
    useLibrary();
    const QByteArray text = fieldText(subject).trimmed();
    if (!isPlain(text))
        return "Subject: " + encodedWords(text) + "\r\n";
    return folded("Subject: " + text);
}

QByteArray fromField(const QString &name, const QByteArray &address)
{
    useLibrary();
    const QByteArray text = fieldText(name).trimmed();
    if (text.isEmpty())
        return "From: " + address + "\r\n";
    if (!isPlain(text))
        return "From: " + encodedWords(text) + "\r\n <" + address + ">\r\n";
    const QByteArray phrase =
        taken(g_mime_utils_header_encode_phrase(nullptr, text.constData(), "utf-8"));
    return folded("From: " + phrase + " <" + address + '>');
}

QByteArray attachmentFields(const QString &name, const QString &mediaType)
{
    useLibrary();
    const Owned<GMimePart, g_object_unref> part(
        g_mime_part_new_with_type(mediaType.section(u'/', 0, 0).toLatin1().constData(),
                                  mediaType.section(u'/', 1).toLatin1().constData()));
    auto *object = GMIME_OBJECT(part.get());
    g_mime_object_set_disposition(object, GMIME_DISPOSITION_ATTACHMENT);
    g_mime_part_set_filename(part.get(), fieldText(name).constData());
    g_mime_part_set_content_encoding(part.get(), GMIME_CONTENT_ENCODING_BASE64);

    const Owned<GMimeFormatOptions, g_mime_format_options_free> options(
        g_mime_format_options_new());
    g_mime_format_options_set_newline_format(options.get(), GMIME_NEWLINE_FORMAT_DOS);
    const Owned<char, g_free> text(g_mime_object_get_headers(object, options.get()));
    return text.get();
}

QByteArray quotedPrintable(const QByteArray &lines)
{
    GMimeEncoding state;
    g_mime_encoding_init_encode(&state, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    const auto size = static_cast<size_t>(lines.size());
    QByteArray encoded(static_cast<qsizetype>(g_mime_encoding_outlen(&state, size)),
                       Qt::Uninitialized);
    const size_t written = g_mime_encoding_flush(&state, lines.constData(), size, encoded.data());
    encoded.truncate(static_cast<qsizetype>(written));
    if (!encoded.endsWith('\n'))
        encoded += '\n';
    return encoded;
}
