#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

/// Writes a file of this content, in a folder that is made where it is missing; returns `path`.
inline QString writeFile(const QString &path, const QByteArray &content = {})
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(content) != content.size())
        qFatal("cannot write %ls", qUtf16Printable(path));
    return path;
}

/// What a file holds; "none" where there is no file.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("none");
}
