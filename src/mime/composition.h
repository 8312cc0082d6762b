#pragma once

#include <QByteArray>
#include <QString>

class AttachmentParts;

/// What a message is made of.
struct Letter {
    QString senderName;
    QByteArray sender;    ///< as wireAddress() writes it
    QByteArray recipient; ///< as wireAddress() writes it
    QString subject;
    bool html = false;
    QString body;
    QByteArray messageId = {}; ///< before the "@"; empty for a random one
};

/// Turns letters into Internet messages: lines of at most 998 bytes that end in CRLF.
class Composer
{
public:
    /// The message up to its attachments: with attachments the text stops where
    /// AttachmentParts::parts() goes on. No value can add a header field.
    QByteArray compose(const Letter &letter, const AttachmentParts &attachments);

private:
    /// What stays the same through a run; building it anew costs more than the rest.
    void makeLastingFields(const Letter &letter);

    /// The local time, worked out once a second: asking for the time zone reads a file.
    const QByteArray &dateField();

    qint64 m_second = -1;
    QByteArray m_dateField;
    QString m_senderName;
    QByteArray m_sender;
    QByteArray m_domain;
    QString m_subject;
    QByteArray m_fields;
};
