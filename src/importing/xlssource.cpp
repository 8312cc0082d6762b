#include "xlssource.h"

#include "dateformat.h"
#include "storageerror.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

#include <freexl.h>

#include <cmath>

namespace
{

[[noreturn]] void fail(const QString &path, const QString &reason)
{
    throw StorageError(0, QStringLiteral("File system"),
                       QStringLiteral("Cannot read %1: %2").arg(path, reason));
}

QString reason(int code, const QByteArray &start)
{
    if (code == FREEXL_INSUFFICIENT_MEMORY)
        return QStringLiteral("there is not enough memory.");
    if (!start.startsWith("\xd0\xcf\x11\xe0"))
        return QStringLiteral("it is not an .xls workbook.");
    return QStringLiteral("the workbook is damaged or cut off (FreeXL error %1).").arg(code);
}

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

QString shown(const WorkbookRecords::Result &result, bool from1904)
{
    using Shows = WorkbookRecords::Format::Shows;
    if (!result.number)
        return result.text;
    // Days and parts of a day.
    const double number = *result.number;
    constexpr double lastDay = 2'958'465; // of the year 9999
    const auto &format = result.format;
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
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        fail(path, QStringLiteral("it is not a file."));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(path, file.errorString());
    const void *workbook = nullptr;
    const int code = freexl_open(QFile::encodeName(path).constData(), &workbook);
    m_workbook.reset(workbook);
    const WorkbookRecords records(path);
    if (records.isEncrypted())
        fail(path, QStringLiteral("the workbook is protected by a password."));
    if (code != FREEXL_OK)
        fail(path, reason(code, file.peek(4)));

    const auto sheet = records.sheet();
    unsigned short columns = 0;
    if (!sheet ||
        freexl_select_active_worksheet(m_workbook.get(), static_cast<unsigned short>(*sheet)) !=
            FREEXL_OK ||
        freexl_worksheet_dimensions(m_workbook.get(), &m_rows, &columns) != FREEXL_OK) {
        fail(path, QStringLiteral("the workbook has no sheet with cells."));
    }
    unsigned dateMode = 0;
    freexl_get_info(m_workbook.get(), FREEXL_BIFF_DATEMODE, &dateMode);
    m_from1904 = dateMode == FREEXL_BIFF_DATEMODE_1904;
    m_results = records.results(*sheet, unsigned(m_record.size()));
    if (!m_results.empty())
        m_rows = std::max(m_rows, m_results.rbegin()->first.first + 1);
}

void XlsSource::Close::operator()(const void *workbook) const
{
    freexl_close(workbook);
}

bool XlsSource::next()
{
    if (++m_row >= m_rows)
        return false;
    for (unsigned column = 0; column < m_record.size(); ++column)
        m_record[column] = cell(column).remove(QChar()).toStdString();
    return !m_record.front().empty();
}

double XlsSource::progress() const
{
    return m_rows > 0 ? std::min(1.0, double(m_row) / m_rows) : 1;
}

QString XlsSource::cell(unsigned column) const
{
    if (const auto result = m_results.find({m_row, column}); result != m_results.end())
        return shown(result->second, m_from1904);
    FreeXL_CellValue value;
    if (freexl_get_cell_value(m_workbook.get(), m_row, static_cast<unsigned short>(column),
                              &value) != FREEXL_OK) {
        return {}; // outside of what the sheet holds
    }
    if (value.type == FREEXL_CELL_INT)
        return QString::number(value.value.int_value);
    if (value.type == FREEXL_CELL_DOUBLE)
        return shown(value.value.double_value);
    if (value.type == FREEXL_CELL_NULL)
        return {};
    return QString::fromUtf8(value.value.text_value);
}
