#include "sendlog.h"

#include "clock.h"
#include "programfolder.h"

#include <QDir>
#include <QLocale>

using namespace Qt::StringLiterals;

SendLog::SendLog(const ProgramFolder &folder, const Clock &clock)
    : m_folder(folder)
    , m_clock(clock)
{
}

void SendLog::open()
{
    close();
    QDir().mkpath(m_folder.file(u"log"_s));
    makePrivate(m_folder.file(u"log"_s));
    m_file.setFileName(m_folder.file(u"log\\log%1.txt"_s.arg(m_clock.now().toString(u"yyMMdd"_s))));
    // Unbuffered: what was sent is in the log even when the program dies.
    if (!m_file.open(QIODevice::Append | QIODevice::Unbuffered))
        m_file.close();
    makePrivate(m_file.fileName());
}

void SendLog::write(const QString &text)
{
    if (!m_file.isOpen())
        return;
    const QString lineBreak = u"\r\n"_s;
    const QString line = text.isEmpty() ? lineBreak : stamp() + text;
    m_file.write((line + lineBreak).toUtf8());
}

/// Date and time in the system's forms, which show whole seconds and take long to spell out.
const QString &SendLog::stamp()
{
    const QDateTime now = m_clock.now();
    if (m_stamp.isEmpty() || now.toSecsSinceEpoch() != m_stampTime.toSecsSinceEpoch()) {
        const QLocale locale = QLocale::system();
        m_stampTime = now;
        m_stamp = locale.toString(now.date(), QLocale::ShortFormat) + u' ' +
                  locale.toString(now.time(), QLocale::LongFormat) + u' ';
    }
    return m_stamp;
}

void SendLog::close()
{
    m_file.close();
}
