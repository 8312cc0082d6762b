#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class Pace;

/// The attachments of a run, read and encoded once and then sent with every message.
///
/// What was read is kept until other paths are asked for or one of the files has changed.
class AttachmentParts
{
public:
    /// Makes the files at `paths` (joined by ";") the attachments. Returns why that cannot be done,
    /// as a sentence; empty when it was. Yields while it works.
    QString load(const QString &paths, Pace &pace);

    bool isEmpty() const { return m_stamps.isEmpty(); }
    /// What separates the parts of a message that carries these attachments.
    const QByteArray &boundary() const { return m_boundary; }
    /// The end of such a message: the attachments' parts, from the boundary before the first to the
    /// closing one, with CRLF line ends and no line that starts with a dot.
    const QByteArray &parts() const { return m_parts; }

private:
    struct Stamp {
        QString path;
        qint64 size = 0;
        qint64 modified = 0; ///< in milliseconds since 1970

        bool operator==(const Stamp &) const = default;
    };

    static Stamp stampOf(const QString &path);
    bool isCurrent(const QString &paths) const;

    QString m_paths;
    QList<Stamp> m_stamps;
    QByteArray m_boundary;
    QByteArray m_parts;
};
