#include "composition.h"

#include "attachmentparts.h"
#include "mimefields.h"

#include <QDateTime>
#include <QStringBuilder>
#include <QUuid>

#include <algorithm>

namespace
{

// RFC 5322, 2.1.1, without the line end.
constexpr qsizetype longestLine = 998;

/// The body in UTF-8 with LF line ends, the last line ended; without NULs, which no mail may hold.
QByteArray plainLines(const QString &body)
{
    QByteArray text = body.toUtf8();
    if (text.contains('\0'))
        text.removeIf([](char c) { return c == '\0'; });
    if (const qsizetype first = text.indexOf('\r'); first >= 0) {
        char *out = text.data() + first;
        const char *in = out;
        const char *const end = text.constData() + text.size();
        while (in != end) {
            *out++ = '\n';
            if (++in != end && *in == '\n')
                ++in;
            const qsizetype next = QByteArrayView(in, end).indexOf('\r');
            const char *const lineEnd = next < 0 ? end : in + next;
            out = std::copy(in, lineEnd, out);
            in = lineEnd;
        }
        text.truncate(out - text.constData());
    }
    if (!text.endsWith('\n'))
        text += '\n';
    return text;
}

bool fitsSevenBits(const QByteArray &lines)
{
    char all = 0;
    for (const char c : lines)
        all = static_cast<char>(all | c);
    if (static_cast<unsigned char>(all) >= 0x80)
        return false;
    for (qsizetype from = 0; from < lines.size();) {
        const qsizetype end = lines.indexOf('\n', from);
        if (end - from > longestLine)
            return false;
        from = end + 1;
    }
    return true;
}

void appendWithCrlf(QByteArray &message, const QByteArray &lines)
{
    const qsizetype before = message.size();
    // Room for lines without a letter; what is left over takes what will follow the message.
    message.resize(before + 2 * lines.size());
    char *out = message.data() + before;
    for (qsizetype from = 0; from < lines.size();) {
        const qsizetype end = lines.indexOf('\n', from);
        out = std::copy(lines.constData() + from, lines.constData() + end, out);
        *out++ = '\r';
        *out++ = '\n';
        from = end + 1;
    }
    message.truncate(out - message.constData());
}

} // namespace

void Composer::makeLastingFields(const Letter &letter)
{
    if (!m_fields.isEmpty() && letter.senderName == m_senderName && letter.sender == m_sender &&
        letter.subject == m_subject)
        return;
    m_senderName = letter.senderName;
    m_sender = letter.sender;
    m_subject = letter.subject;
    m_domain = m_sender.mid(m_sender.lastIndexOf('@') + 1);
    m_fields =
        fromField(m_senderName, m_sender) + subjectField(m_subject) + "MIME-Version: 1.0\r\n";
}

const QByteArray &Composer::dateField()
{
    if (const qint64 now = QDateTime::currentSecsSinceEpoch(); now != m_second) {
        m_second = now;
        const QDateTime time = QDateTime::fromSecsSinceEpoch(now);
        m_dateField = "Date: " + time.toString(Qt::RFC2822Date).toLatin1() + "\r\n";
    }
    return m_dateField;
}

QByteArray Composer::compose(const Letter &letter, const AttachmentParts &attachments)
{
    const QByteArray lines = plainLines(letter.body);
    const bool sevenBits = fitsSevenBits(lines);
    makeLastingFields(letter);

    // Put together with "%": each "+" would make a copy.
    QByteArray message;
    message.reserve(2 * lines.size() + m_fields.size() + 1024);
    message += dateField() % "Message-ID: <";
    if (letter.messageId.isEmpty())
        message += QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
    message +=
        letter.messageId % '@' % m_domain % ">\r\nTo: " % letter.recipient % "\r\n" % m_fields;
    if (!attachments.isEmpty())
        message += "Content-Type: multipart/mixed;\r\n boundary=\"" % attachments.boundary() %
                   "\"\r\n\r\n--" % attachments.boundary() % "\r\n";
    message += letter.html ? "Content-Type: text/html; charset=utf-8\r\n"
                           : "Content-Type: text/plain; charset=utf-8\r\n";
    message += sevenBits ? "Content-Transfer-Encoding: 7bit\r\n\r\n"
                         : "Content-Transfer-Encoding: quoted-printable\r\n\r\n";
    appendWithCrlf(message, sevenBits ? lines : quotedPrintable(lines));
    return message;
}
