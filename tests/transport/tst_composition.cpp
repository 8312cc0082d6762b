#include "attachmentparts.h"
#include "composition.h"
#include "pace.h"
#include "testfiles.h"

#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#undef signals
#include <gmime/gmime.h>

namespace
{

struct NoYield : Yield {
    void yield() override {}
};

Letter letter(const QString &body = QStringLiteral("Hello\n"))
{
    return {QStringLiteral("Sender"), "a@example.org",      "b@example.net",
            QStringLiteral("News"),   false /* not HTML */, body};
}

/// What a reader's program makes of a message.
struct ReadBack {
    QByteArray fields; ///< the names of the header fields, in order
    QString subject, senderName, body, type;
    QByteArray sender, recipient;
    QStringList fileNames;
    QByteArrayList files;
};

QByteArray contentOf(GMimeObject *part)
{
    GMimeStream *stream = g_mime_stream_mem_new();
    g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(GMIME_PART(part)), stream);
    const GByteArray *bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
    const QByteArray content(reinterpret_cast<const char *>(bytes->data), bytes->len);
    g_object_unref(stream);
    return content;
}

void readPart(GMimeObject *, GMimeObject *part, gpointer data)
{
    auto &result = *static_cast<ReadBack *>(data);
    if (!GMIME_IS_PART(part))
        return;
    if (const char *name = g_mime_part_get_filename(GMIME_PART(part))) {
        result.fileNames << QString::fromUtf8(name);
        result.files << contentOf(part);
    } else {
        GMimeContentType *type = g_mime_object_get_content_type(part);
        result.type = QString::fromLatin1(g_mime_content_type_get_media_subtype(type));
        result.body = QString::fromUtf8(contentOf(part));
    }
}

ReadBack readBack(const QByteArray &message)
{
    g_mime_init();
    GMimeStream *stream =
        g_mime_stream_mem_new_with_buffer(message.constData(), size_t(message.size()));
    GMimeParser *parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage *parsed = g_mime_parser_construct_message(parser, nullptr);
    ReadBack result;
    GMimeHeaderList *headers = g_mime_object_get_header_list(GMIME_OBJECT(parsed));
    for (int i = 0; i < g_mime_header_list_get_count(headers); ++i)
        result.fields +=
            g_mime_header_get_name(g_mime_header_list_get_header_at(headers, i)) + QByteArray(" ");
    result.subject = QString::fromUtf8(g_mime_message_get_subject(parsed));
    const auto mailbox = [](InternetAddressList *list) {
        return internet_address_list_get_address(list, 0);
    };
    InternetAddress *from = mailbox(g_mime_message_get_from(parsed));
    // GMime leaves the folds in.
    result.senderName =
        QString::fromUtf8(internet_address_get_name(from)).remove(QStringLiteral("\r\n"));
    result.sender = internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(from));
    result.recipient = internet_address_mailbox_get_addr(
        INTERNET_ADDRESS_MAILBOX(mailbox(g_mime_message_get_to(parsed))));
    g_mime_message_foreach(parsed, readPart, &result);
    g_object_unref(parsed);
    g_object_unref(parser);
    g_object_unref(stream);
    return result;
}

/// What every message keeps, whatever is in it.
QString formFault(const QByteArray &message)
{
    for (const QByteArray &line : message.split('\n')) {
        if (line.isEmpty())
            continue; // after the last line end
        if (!line.endsWith('\r') || line.chopped(1).contains('\r') || line.contains('\0') ||
            line.size() > 999)
            return QStringLiteral("the line ") + QString::fromLatin1(line.left(80));
    }
    const QByteArray header = message.left(message.indexOf("\r\n\r\n"));
    static const QRegularExpression word(QStringLiteral("=\\?UTF-8\\?B\\?([^?]*)\\?="));
    auto words = word.globalMatch(QString::fromLatin1(header));
    while (words.hasNext()) {
        const auto match = words.next();
        const QByteArray text = QByteArray::fromBase64(match.captured(1).toLatin1());
        if (match.capturedLength() > 75 || QString::fromUtf8(text).contains(QChar(0xfffd)))
            return QStringLiteral("the encoded word ") + match.captured();
    }
    return {};
}

/// Without those of the content, which belong to the body.
const QByteArray allFields = "Date Message-ID To From Subject MIME-Version ";

} // namespace

class TestComposition : public QObject
{
    Q_OBJECT

private slots:
    void fields_data();
    void fields();
    void bodies_data();
    void bodies();
    void followsTheLetter();
    void carriesAttachments();
};

void TestComposition::fields_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QString &text, const QString &expected = {}) {
        QTest::newRow(name) << text << (expected.isNull() ? text : expected);
    };
    row("plain", QStringLiteral("Spring offer"));
    row("empty", QString());
    row("specials", QStringLiteral("Doe, John \"Q\" (Sales) <x@y>; \\ :"));
    row("umlauts", QStringLiteral("Grüße aus Köln, Müller"));
    row("no blank to fold at", QString(700, QChar(0x4e2d)));
    row("characters of four bytes", QStringLiteral("😀").repeated(40));
    row("one long ASCII word", QString(3000, u'x'));
    row("many words", QStringLiteral("word ").repeated(300).trimmed());
    row("looks encoded", QStringLiteral("=?utf-8?q?Bcc=3A_x?="));
    row("a field of its own", QStringLiteral("Hi\r\nBcc: x@example.org\r\n\r\nbody"),
        QStringLiteral("Hi  Bcc: x@example.org    body"));
    row("other controls", QStringLiteral("a\u0085b\u2028c\td") + QChar(0) + u'e',
        QStringLiteral("a b c d e"));
    row("half a character", QStringLiteral("a") + QChar(0xd800), QStringLiteral("a?"));
}

void TestComposition::fields()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    Letter sent = letter();
    sent.subject = text;
    sent.senderName = text;
    const QByteArray message = Composer().compose(sent, {});
    QCOMPARE(formFault(message), QString());
    const ReadBack read = readBack(message);
    QCOMPARE(read.fields, allFields);
    QCOMPARE(read.subject, expected);
    QCOMPARE(read.senderName, expected);
    QCOMPARE(read.sender, "a@example.org");
    QCOMPARE(read.recipient, "b@example.net");
}

void TestComposition::bodies_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("sevenBits");
    const auto row = [](const char *name, const QString &body, const QString &expected,
                        bool sevenBits = true) {
        QTest::newRow(name) << body << expected + QStringLiteral("\r\n") << sevenBits;
    };
    row("empty", {}, {});
    row("line ends", QStringLiteral("a\rb\nc\r\nd\n\re"),
        QStringLiteral("a\r\nb\r\nc\r\nd\r\n\r\ne"));
    row("dots", QStringLiteral(".\n..a\n"), QStringLiteral(".\r\n..a"));
    row("umlauts", QStringLiteral("ä =\nb \r"), QStringLiteral("ä =\r\nb "), false);
    row("998 bytes", QString(998, u'x'), QString(998, u'x'));
    row("999 bytes", QString(999, u'x'), QString(999, u'x'), false);
    row("NUL", QStringLiteral("a") + QChar(0) + u'b', QStringLiteral("ab"));
    row("half a character", QStringLiteral("a") + QChar(0xdc00), QStringLiteral("a?"));
}

void TestComposition::bodies()
{
    QFETCH(QString, body);
    QFETCH(QString, expected);
    QFETCH(bool, sevenBits);
    const QByteArray message = Composer().compose(letter(body), {});
    QCOMPARE(formFault(message), QString());
    QCOMPARE(readBack(message).body.replace(QRegularExpression(QStringLiteral("\r?\n")),
                                            QStringLiteral("\r\n")),
             expected);
    QCOMPARE(message.contains("Content-Transfer-Encoding: 7bit\r\n"), sevenBits);
}

void TestComposition::followsTheLetter()
{
    Composer composer;
    static const QRegularExpression idField(
        QStringLiteral("\r\nMessage-ID: (<[^@>]+@example\\.org>)\r\n"));
    QSet<QString> ids;
    Letter sent = letter();
    const auto read = [&] {
        const QByteArray message = composer.compose(sent, {});
        ids += idField.match(QString::fromLatin1(message)).captured(1);
        return readBack(message);
    };
    QCOMPARE(read().type, QStringLiteral("plain"));
    sent.html = true;
    QCOMPARE(read().type, QStringLiteral("html"));
    sent.subject = QStringLiteral("Other");
    QCOMPARE(read().subject, sent.subject);
    sent.senderName = QStringLiteral("Name");
    QCOMPARE(read().senderName, sent.senderName);
    QCOMPARE(ids.size(), 4);
    QVERIFY(!ids.contains(QString()));
    sent.sender = "c@example.org";
    QCOMPARE(read().sender, sent.sender);
}

void TestComposition::carriesAttachments()
{
    QTemporaryDir folder;
    QByteArray bytes;
    for (int i = 0; i < 600'000; ++i)
        bytes += static_cast<char>(i * 7);
    const QStringList names{QStringLiteral("Preisübersicht; \"neu\".pdf"),
                            QString(200, u'n') + QStringLiteral(".bin"),
                            QStringLiteral("empty.html")};
    const QStringList paths{writeFile(folder.filePath(names[0]), bytes),
                            writeFile(folder.filePath(names[1]), "\r\n.\r\n"),
                            writeFile(folder.filePath(names[2]), {})};
    NoYield yield;
    Pace pace(yield);
    AttachmentParts attachments;
    QCOMPARE(attachments.load(paths.join(u';'), pace), QString());
    const QByteArray message =
        Composer().compose(letter(QStringLiteral("Grüße")), attachments) + attachments.parts();
    QCOMPARE(formFault(message), QString());
    QVERIFY(!attachments.parts().contains("\n."));
    QVERIFY(attachments.parts().contains("Content-Type: application/pdf;"));
    QVERIFY(attachments.parts().contains("Content-Type: text/html;"));
    const ReadBack read = readBack(message);
    QCOMPARE(read.body.trimmed(), QStringLiteral("Grüße"));
    QCOMPARE(read.fileNames, names);
    QCOMPARE(read.files, (QByteArrayList{bytes, "\r\n.\r\n", {}}));

    // They are read once: each reading would draw a new boundary.
    const QByteArray before = attachments.parts();
    QCOMPARE(attachments.load(paths.join(u';'), pace), QString());
    QCOMPARE(attachments.parts(), before);
    writeFile(folder.filePath(names[2]), "changed");
    QCOMPARE(attachments.load(paths.join(u';'), pace), QString());
    QVERIFY(attachments.parts().contains(QByteArray("changed").toBase64()));

    const QString missing = folder.filePath(QStringLiteral("missing.txt"));
    QVERIFY(
        attachments.load(paths[0] + u';' + missing, pace)
            .startsWith(QLatin1String("The attachment missing.txt cannot be read (there is no")));
    QVERIFY(!attachments.load(folder.path(), pace).isEmpty());
    QCOMPARE(attachments.load({}, pace), QString());
    QVERIFY(attachments.isEmpty());
}

QTEST_GUILESS_MAIN(TestComposition)
#include "tst_composition.moc"
