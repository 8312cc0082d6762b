#include "sendlog.h"

#include "clock.h"
#include "programfolder.h"

#include <QDir>
#include <QLocale>

SendLog::SendLog(const ProgramFolder &folder, const Clock &clock) : m_folder(folder), m_clock(clock)
{
}

void SendLog::open()
{
    close();
    QDir().mkpath(m_folder.file(QStringLiteral("log")));
    m_file.setFileName(m_folder.file(
        QStringLiteral("log\\log%1.txt")
            .arg(m_clock.now().toString(QStringLiteral("yyMMdd")))));
    // Unbuffered: what was sent is in the log even when the program dies.
    if (!m_file.open(QIODevice::Append | QIODevice::Unbuffered))
        m_file.close();
}

void SendLog::write(const QString &text)
{
    if (!m_file.isOpen())
        return;
    QString line;
    if (text.isEmpty()) {
        line = QStringLiteral("\r\n\r\n");
    } else {
        const QDateTime now = m_clock.now();
        const QLocale locale = QLocale::system();
        line = locale.toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ')
            + locale.toString(now.time(), QLocale::LongFormat) + QLatin1Char(' ') + text
            + QStringLiteral("\r\n");
    }
    m_file.write(line.toUtf8());
}

void SendLog::close()
{
    m_file.close();
}
