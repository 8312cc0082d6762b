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
    bool isPositive() const { return m_code / 100 == 2; }
    bool isRefusal() const { return m_code >= 400; }
    /// The server's own words: the code once, then the lines joined with blanks.
    QString text() const;

private:
    int m_code = 0;
    QByteArray m_words;
};
