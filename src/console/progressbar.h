#pragma once

#include <QElapsedTimer>
#include <QString>

/// A bar with counts, rate and time left in the last line of a terminal; nothing elsewhere.
class ProgressBar
{
public:
    ProgressBar();

    bool isOnTerminal() const { return m_terminal; }
    /// Begins anew: the time of what follows counts from here.
    void start();
    /// `progress`: from 0 to 1. `handled`: how many of what is counted. `counts`: what to say of
    /// them. `secondsLeft`: negative where the rate so far tells it.
    void show(double progress, qint64 handled, const QString &counts, qint64 secondsLeft = -1);
    /// Makes room for other text.
    void clear();
    /// "12.3/s"
    QString rate(qint64 handled) const;

private:
    const bool m_terminal;
    QElapsedTimer m_elapsed;
    qint64 m_lastDrawn = 0; // ms since the start
    bool m_isVisible = false;
};
