#include "composition.h"

#include "attachmentparts.h"
#include "mimefields.h"

#include <QDateTime>
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
    char *out = text.data();
    const char *const end = text.constData() + text.size();
    for (const char *in = text.constData(); in != end; ++in) {
        if (*in == '\r') {
            *out++ = '\n';
            if (in + 1 != end && in[1] == '\n')
                ++in;
        } else if (*in != '\0') {
            *out++ = *in;
        }
    }
    text.truncate(out - text.constData());
    if (!text.endsWith('\n'))
        text += '\n';
    return text;
}

bool fitsSevenBits(const QByteArray &lines)
{
    qsizetype length = 0;
    return std::all_of(lines.begin(), lines.end(), [&length](char c) {
        length = c == '\n' ? 0 : length + 1;
        return length <= longestLine && static_cast<unsigned char>(c) < 0x80;
    });
}

void appendWithCrlf(QByteArray &message, const QByteArray &lines)
{
    message.reserve(message.size() + lines.size() + lines.count('\n') + 16);
    for (qsizetype from = 0; from < lines.size();) {
        const qsizetype end = lines.indexOf('\n', from);
        message.append(QByteArrayView(lines).sliced(from, end - from)).append("\r\n");
        from = end + 1;
    }
}

} // namespace

const QByteArray &Composer::lastingFields(const Letter &letter)
{
    if (m_fields.isEmpty() || letter.senderName != m_senderName || letter.sender != m_sender ||
        letter.subject != m_subject) {
        m_senderName = letter.senderName;
        m_sender = letter.sender;
        m_subject = letter.subject;
        m_fields =
            fromField(m_senderName, m_sender) + subjectField(m_subject) + "MIME-Version: 1.0\r\n";
    }
    return m_fields;
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
    const QByteArray domain = letter.sender.mid(letter.sender.lastIndexOf('@') + 1);

    const QByteArray id = letter.messageId.isEmpty()
                              ? QUuid::createUuid().toByteArray(QUuid::WithoutBraces)
                              : letter.messageId;
    QByteArray message;
    message += dateField() + "Message-ID: <" + id + '@' + domain + ">\r\nTo: " + letter.recipient +
               "\r\n" + lastingFields(letter);
    if (!attachments.isEmpty())
        message += "Content-Type: multipart/mixed;\r\n boundary=\"" + attachments.boundary() +
                   "\"\r\n\r\n--" + attachments.boundary() + "\r\n";
    message += letter.html ? "Content-Type: text/html; charset=utf-8\r\n"
                           : "Content-Type: text/plain; charset=utf-8\r\n";
    message += sevenBits ? "Content-Transfer-Encoding: 7bit\r\n\r\n"
                         : "Content-Transfer-Encoding: quoted-printable\r\n\r\n";
    appendWithCrlf(message, sevenBits ? lines : quotedPrintable(lines));
    return message;
}
