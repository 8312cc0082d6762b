#include "desktopspreadsheet.h"

#include "xlssource.h"
#include "xlsxtarget.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

namespace
{

/// Whether the desktop knows a program for files of this kind. Opening a file says nothing about
/// it: the opener has no answer before the person has closed what it has tried.
bool hasProgramFor(const QString &path)
{
    QProcess query;
    query.start(QStringLiteral("xdg-mime"),
                {QStringLiteral("query"), QStringLiteral("default"),
                 QMimeDatabase().mimeTypeForFile(path, QMimeDatabase::MatchExtension).name()});
    return query.waitForFinished() && !query.readAllStandardOutput().trimmed().isEmpty();
}

} // namespace

std::unique_ptr<RecipientSource> DesktopSpreadsheet::read(const QString &path)
{
    return std::make_unique<XlsSource>(path);
}

std::unique_ptr<RecordTarget> DesktopSpreadsheet::create(const QString &path,
                                                         const QStringList &headings)
{
    return std::make_unique<XlsxTarget>(path, headings);
}

bool DesktopSpreadsheet::show(const QString &path)
{
    return QFileInfo::exists(path) && hasProgramFor(path) &&
           QProcess::startDetached(QStringLiteral("xdg-open"), {path});
}

QString newWorkbookPath(const QString &name)
{
    constexpr qsizetype longestName = 255 - 20; // bytes; the rest is for a number and the kind
    QString base = name;
    base.replace(QRegularExpression(QStringLiteral("[\\x00-\\x1f/\\\\:*?\"<>|]")),
                 QStringLiteral("_"));
    base = base.left(longestName);
    // The file system counts bytes.
    while (QFile::encodeName(base).size() > longestName ||
           (!base.isEmpty() && base.back().isHighSurrogate())) {
        base.chop(1);
    }
    base = base.trimmed();
    if (base.isEmpty() || base.startsWith(QLatin1Char('.')))
        base.prepend(QStringLiteral("Maillist"));
    const QDir folder(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    folder.mkpath(QStringLiteral("."));
    QString path = folder.filePath(base + QStringLiteral(".xlsx"));
    for (int number = 2; QFileInfo::exists(path); ++number)
        path = folder.filePath(QStringLiteral("%1 (%2).xlsx").arg(base).arg(number));
    return path;
}
