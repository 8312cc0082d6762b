#pragma once

#include <QDateTime>
#include <QFile>

class Clock;
class ProgramFolder;

/// The day's send log, a text file in UTF-8 with CR LF line ends that the operator reads. A log
/// that cannot be written is no reason to stop sending: every step goes on past its own errors.
class SendLog
{
public:
    SendLog(const ProgramFolder &folder, const Clock &clock);

    /// Opens today's file for appending, making it and its folder where they are missing. The file
    /// stays the one of this day, also after midnight.
    void open();
    /// Writes date, time and the text; an empty text makes a gap of two line breaks. Without open()
    /// it does nothing.
    void write(const QString &text);
    void close();

private:
    const QString &stamp();

    const ProgramFolder &m_folder;
    const Clock &m_clock;
    QFile m_file;
    QDateTime m_stampTime; ///< the second that m_stamp spells out
    QString m_stamp;
};
