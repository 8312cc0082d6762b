#include "progressbar.h"

#include "terminal.h"

#include <unistd.h>

namespace
{

/// Slow enough for a slow terminal, fast enough to look alive.
constexpr qint64 redrawMs = 100;

QString duration(qint64 seconds)
{
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

ProgressBar::ProgressBar()
    : m_terminal(isatty(STDERR_FILENO))
{
    m_elapsed.start();
}

void ProgressBar::start()
{
    clear();
    m_elapsed.start();
    m_lastDrawn = 0;
}

void ProgressBar::show(double progress, qint64 handled, const QString &counts, qint64 secondsLeft)
{
    const qint64 elapsed = m_elapsed.elapsed();
    if (!m_terminal || (m_isVisible && elapsed - m_lastDrawn < redrawMs))
        return;
    m_lastDrawn = elapsed;
    m_isVisible = true;
    constexpr int width = 20; // what follows has room in 80 columns
    const int full = int(progress * width);
    qint64 left = secondsLeft;
    if (left < 0)
        left = progress > 0 ? qint64(double(elapsed) * (1 / progress - 1) / 1000) : 0;
    print(stderr, QStringLiteral("\r[%1%2] %3, %4, %5 left \033[K")
                      .arg(QString(full, QLatin1Char('#')), QString(width - full, QLatin1Char('.')),
                           counts, rate(handled), duration(left)));
}

void ProgressBar::clear()
{
    if (m_isVisible)
        print(stderr, QStringLiteral("\r\033[K"));
    m_isVisible = false;
}

QString ProgressBar::rate(qint64 handled) const
{
    const qint64 elapsed = m_elapsed.elapsed();
    return QStringLiteral("%1/s").arg(elapsed > 0 ? 1000.0 * double(handled) / double(elapsed) : 0,
                                      0, 'f', 1);
}
