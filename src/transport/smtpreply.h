#pragma once

#include <QByteArrayList>
#include <QString>

/// One answer of a mail server, put together from its lines.
class SmtpReply
{
public:
    enum class Step { More, Complete, Malformed };

    static constexpr int serviceClosing = 421; ///< the session ends with it

    /// Takes one line of the answer, with or without its line end.
    Step add(QByteArrayView line);

    /// Puts "***" in the place of each of these texts.
    void hide(const QByteArrayList &secrets);

    /// The three digits; 0 while there is no answer.
    int code() const { return m_code; }
    /// Its first digit: 2 for done, 3 for go on, 4 for not now, 5 for no.
    int kind() const { return m_code / 100; }
    bool isRefusal() const { return m_code >= 400; }
    /// Whether these are words that many servers have for every recipient alike: because of the
    /// client, its login or the sender (530; RFC 3463, 3.4 and 3.8), or because they do not relay.
    bool maybeForEverybody() const;
    /// The server's own words: the code once, then the lines joined with blanks.
    QString text() const;

private:
    int m_code = 0;
    QByteArray m_words;
};
