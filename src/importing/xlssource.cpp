#include "xlssource.h"

#include "dateformat.h"
#include "workbookrecords.h"

#include "storageerror.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace
{

QString shown(double number)
{
    constexpr double exact = 1e15; // from here on a double has no digits to spare
    if (number == std::floor(number) && std::abs(number) < exact)
        return QString::number(qint64(number));
    return QString::number(number, 'g', 15);
}

/// The locale's short form, but with the whole year, as sheets show dates.
QString shown(QDate date)
{
    const QLocale locale;
    QString format = locale.dateFormat(QLocale::ShortFormat);
    if (!format.contains(QStringLiteral("yyyy")))
        format.replace(QStringLiteral("yy"), QStringLiteral("yyyy"));
    return locale.toString(date, format);
}

QString shown(QTime time)
{
    const QLocale locale;
    QString format = locale.timeFormat(QLocale::ShortFormat);
    if (time.second() != 0 && !format.contains(QLatin1Char('s')))
        format.replace(QStringLiteral("mm"), QStringLiteral("mm:ss"));
    return locale.toString(time, format);
}

QString shown(const QDateTime &moment)
{
    return shown(moment.date()) + QLatin1Char(' ') + shown(moment.time());
}

QString shown(const WorkbookRecords::Cell &cell, bool from1904)
{
    using Shows = WorkbookRecords::Format::Shows;
    if (!cell.number)
        return cell.text;
    // Days and parts of a day.
    const double number = *cell.number;
    constexpr double lastDay = 2'958'465; // of the year 9999
    const auto &format = cell.format;
    if (format.shows == Shows::Number || !(number >= 0 && number <= lastDay))
        return shown(number);
    const QDate first = from1904 ? QDate(1904, 1, 1) : QDate(1899, 12, 30);
    constexpr double secondsOfDay = 86'400;
    const QDateTime moment = QDateTime(first.addDays(qint64(number)), QTime(0, 0), Qt::UTC)
                                 .addSecs(qRound64(std::fmod(number, 1) * secondsOfDay));
    if (!format.text.isEmpty()) {
        if (const auto text = shownAs(format.text, moment))
            return *text;
    }
    if (format.shows == Shows::Date)
        return shown(moment.date());
    return format.shows == Shows::Time ? shown(moment.time()) : shown(moment);
}

} // namespace

XlsSource::XlsSource(const QString &path)
{
    QFile file(path);
    openToRead(file);
    if (!file.peek(4).startsWith("\xd0\xcf\x11\xe0"))
        cannotRead(path, QStringLiteral("it is not an .xls workbook."));
    const WorkbookRecords records(path);
    if (records.isEncrypted())
        cannotRead(path, QStringLiteral("the workbook is protected by a password."));
    if (records.isReadable() && !records.sheet())
        cannotRead(path, QStringLiteral("the workbook has no sheet with cells."));
    const auto take = [&](const WorkbookRecords::Cell &cell) {
        if (cell.column >= std::tuple_size_v<RecipientRecord>)
            return;
        m_rows.resize(std::max<size_t>(m_rows.size(), cell.row + 1));
        m_rows[cell.row][cell.column] =
            shown(cell, records.isFrom1904()).remove(QChar()).toStdString();
    };
    if (!records.isReadable() || !records.read(*records.sheet(), take))
        cannotRead(path,
                   QStringLiteral("it holds no workbook, or one that is damaged or cut off."));
}

bool XlsSource::next()
{
    return ++m_row < m_rows.size() && !m_rows[m_row].front().empty();
}

double XlsSource::progress() const
{
    return m_rows.empty() ? 1 : std::min(1.0, double(m_row) / double(m_rows.size()));
}
