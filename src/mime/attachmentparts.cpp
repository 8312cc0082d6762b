#include "attachmentparts.h"

#include "mimefields.h"
#include "pace.h"

#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QUuid>

namespace
{

// 57 bytes make a line of 76 characters, the longest that MIME allows.
constexpr qsizetype bytesInLine = 57;
constexpr qsizetype charactersInLine = 76;
constexpr qint64 bytesInStep = bytesInLine * 4096;

QString unreadable(const QString &path, const QString &reason)
{
    return QStringLiteral("The attachment %1 cannot be read (%2): %3")
        .arg(path.section(u'/', -1), reason, path);
}

/// Splits the joined paths. A name may itself hold a ";": the shortest piece that is a file wins.
QString splitPaths(const QString &joined, QStringList &paths)
{
    const QStringList pieces = joined.split(u';');
    for (qsizetype first = 0; first < pieces.size(); ++first) {
        if (pieces[first].trimmed().isEmpty())
            continue;
        QString path = pieces[first];
        qsizetype last = first;
        while (!QFileInfo(path).isFile()) {
            if (++last == pieces.size())
                return unreadable(pieces[first], QStringLiteral("there is no such file"));
            path += u';' + pieces[last];
        }
        paths.append(path);
        first = last;
    }
    return {};
}

/// Appends the file's content as base64 lines.
QString encodeFile(const QString &path, QByteArray &lines, Pace &pace)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return unreadable(path, file.errorString());
    lines.reserve(lines.size() + file.size() / bytesInLine * (charactersInLine + 2) + 1024);
    while (!file.atEnd()) {
        const QByteArray encoded = file.read(bytesInStep).toBase64();
        if (file.error() != QFileDevice::NoError)
            return unreadable(path, file.errorString());
        for (qsizetype at = 0; at < encoded.size(); at += charactersInLine)
            lines
                .append(QByteArrayView(encoded).sliced(at).first(
                    std::min(charactersInLine, encoded.size() - at)))
                .append("\r\n");
        pace.step();
    }
    return {};
}

} // namespace

AttachmentParts::Stamp AttachmentParts::stampOf(const QString &path)
{
    const QFileInfo info(path);
    return {path, info.size(), info.lastModified().toMSecsSinceEpoch()};
}

bool AttachmentParts::isCurrent(const QString &paths) const
{
    return paths == m_paths && std::all_of(m_stamps.begin(), m_stamps.end(),
                                           [](const Stamp &s) { return s == stampOf(s.path); });
}

QString AttachmentParts::load(const QString &paths, Pace &pace)
{
    if (isCurrent(paths))
        return {};
    *this = {};
    QStringList files;
    if (const QString fault = splitPaths(paths, files); !fault.isEmpty())
        return fault;

    // "=_" occurs neither in base64 nor in quoted-printable.
    const QByteArray boundary = "=_" + QUuid::createUuid().toByteArray(QUuid::Id128);
    QByteArray parts;
    QList<Stamp> stamps;
    for (const QString &path : std::as_const(files)) {
        stamps.append(stampOf(path));
        const QString name = QFileInfo(path).fileName();
        const QString mediaType =
            QMimeDatabase().mimeTypeForFile(name, QMimeDatabase::MatchExtension).name();
        parts += "--" + boundary + "\r\n" + attachmentFields(name, mediaType) + "\r\n";
        if (const QString fault = encodeFile(path, parts, pace); !fault.isEmpty())
            return fault;
    }
    m_paths = paths;
    m_stamps = stamps;
    m_boundary = boundary;
    m_parts = parts + "--" + boundary + "--\r\n";
    return {};
}
