#include "attachmentparts.h"
#include "composition.h"
#include "pace.h"
#include "testfiles.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

struct NoYield : Yield {
    void yield() override {}
};

/// What a library that is not ours makes of each message: a line with what is wrong with its form,
/// the names of its fields, sender and recipient, subject, name, kind of body, body, and name and
/// content (in base64) of each attachment; parted by "|".
QStringList readBack(const QByteArrayList &messages)
{
    const QString script = uR"(
import base64, email, re, sys
from email import policy, utils
from email.header import decode_header, make_header
for line in sys.stdin:
    raw = base64.b64decode(line)
    faults = [l for l in raw.split(b'\r\n') if len(l) > 998 or re.search(b'[\r\n\0]', l)]
    for word in re.findall(rb'=\?UTF-8\?B\?([^?]*)\?=', raw):
        base64.b64decode(word).decode()
        faults += [word] if len(word) > 63 else []
    m = email.message_from_bytes(raw, policy=policy.default)
    name, sender = email.utils.parseaddr(email.message_from_bytes(raw)['from'])
    to, = m['to'].addresses
    body = m.get_body()
    read = [repr(faults + m.defects), ' '.join(k for k in m.keys() if k[:8] != 'Content-'),
            sender + '>' + to.addr_spec, m['subject'], str(make_header(decode_header(name))),
            body.get_content_subtype() + body['Content-Transfer-Encoding'],
            body.get_payload(decode=True).decode()]
    for part in m.iter_attachments():
        content = base64.b64encode(part.get_payload(decode=True)).decode()
        read += [part.get_content_type(), part.get_filename(), content]
    sys.stdout.buffer.write(('|'.join(read) + '\0').encode()))"_s;
    QProcess python;
    python.start(u"/usr/bin/python3"_s, {u"-c"_s, script});
    for (const QByteArray &message : messages)
        python.write(message.toBase64() + '\n');
    python.closeWriteChannel();
    if (!python.waitForFinished() || python.exitCode() != 0)
        qFatal("%s", python.readAllStandardError().constData());
    return QString::fromUtf8(python.readAllStandardOutput()).split(QChar(), Qt::SkipEmptyParts);
}

} // namespace

class TestComposition : public QObject
{
    Q_OBJECT

private slots:
    void letters()
    {
        QByteArrayList messages;
        QStringList expected;
        Composer composer;
        const auto add = [&](const QString &text, const QString &body, const QString &read,
                             const QString &readBody, const QString &kind) {
            messages << composer.compose(
                {text, "a@example.org", "b@example.net", text, kind.startsWith(u"html"_s), body},
                {});
            expected << u"[]|Date Message-ID To From Subject MIME-Version|a@example.org>"
                        "b@example.net|%1|%1|%2|%3\r\n"_s.arg(read, kind, readBody);
        };
        const auto field = [&](const QString &text, const QString &read) {
            add(text, u"<p>"_s, read, u"<p>"_s, u"html7bit"_s);
        };
        for (const QString &text :
             {u"Spring offer"_s, u""_s, u"Doe, John \"Q\" (Sales) <x@y>; \\ :"_s,
              u"Grüße aus Köln, Müller"_s, QString(700, QChar(0x4e2d)), u"😀"_s.repeated(40),
              QString(3000, u'x'), u"word "_s.repeated(300).trimmed(), u"=?utf-8?q?Bcc=3A_x?="_s})
            field(text, text);
        field(u"Hi\r\nBcc: x@example.org\r\n\r\nbody"_s, u"Hi  Bcc: x@example.org    body"_s);
        field(u"a\u0085b\u2028c\td"_s + QChar(0) + u'e', u"a b c d e"_s);
        field(u"a"_s + QChar(0xd800), u"a?"_s);
        const auto body = [&](const QString &text, const QString &read, const char *encoding) {
            add(u"N"_s, text, u"N"_s, read, u"plain"_s + QLatin1String(encoding));
        };
        body({}, {}, "7bit");
        body(u"a\rb\nc\r\nd\n\re"_s, u"a\r\nb\r\nc\r\nd\r\n\r\ne"_s, "7bit");
        body(u".\n..a\n"_s, u".\r\n..a"_s, "7bit");
        body(u"ä =\nb \r"_s, u"ä =\r\nb "_s, "quoted-printable");
        body(QString(998, u'x'), QString(998, u'x'), "7bit");
        body(QString(999, u'x'), QString(999, u'x'), "quoted-printable");
        body(u"a"_s + QChar(0) + QChar(0xdc00), u"a?"_s, "7bit");
        QCOMPARE(readBack(messages), expected);

        QSet<QByteArray> ids;
        for (const QByteArray &message : messages)
            ids += message.mid(message.indexOf("\r\nMessage-ID: <"), 60);
        QCOMPARE(ids.size(), messages.size());
    }

    void carriesAttachments()
    {
        QTemporaryDir folder;
        QByteArray bytes;
        for (int i = 0; i < 600'000; ++i)
            bytes += static_cast<char>(i * 7);
        const QStringList names{u"Preisübersicht; \"neu\".pdf"_s, QString(200, u'n') + u".bin"_s};
        const QStringList paths{writeFile(folder.filePath(names[0]), bytes),
                                writeFile(folder.filePath(names[1]), "\r\n.\r\n")};
        NoYield yield;
        Pace pace(yield);
        AttachmentParts attachments;
        QCOMPARE(attachments.load(paths.join(u';'), pace), QString());
        QVERIFY(!attachments.parts().contains("\n."));
        const Letter letter{u"N"_s, "a@example.org", "b@example.net", u"S"_s, false, u"Grüße"_s};
        const QByteArray message = Composer().compose(letter, attachments) + attachments.parts();
        QCOMPARE(readBack({message}).first().section(u'|', 6),
                 u"Grüße|application/pdf|%1|%2|application/octet-stream|%3|DQouDQo="_s.arg(
                     names[0], QString::fromLatin1(bytes.toBase64()), names[1]));

        // They are read once: each reading would draw a new boundary.
        const QByteArray before = attachments.parts();
        QCOMPARE(attachments.load(paths.join(u';'), pace), QString());
        QCOMPARE(attachments.parts(), before);
        writeFile(paths[1], "changed");
        QCOMPARE(attachments.load(paths.join(u';'), pace), QString());
        QVERIFY(attachments.parts().contains(QByteArray("changed").toBase64()));

        QVERIFY(attachments.load(paths[0] + u";missing.txt"_s, pace)
                    .startsWith(u"The attachment missing.txt cannot be read (there is no"_s));
        QCOMPARE(attachments.load({}, pace), QString());
        QVERIFY(attachments.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestComposition)
#include "tst_composition.moc"
