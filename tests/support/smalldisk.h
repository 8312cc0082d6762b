#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

/// A small file system of its own on a folder, for what happens when a disk is full.
class SmallDisk
{
public:
    SmallDisk(const QString &folder, const char *size)
        : m_folder(folder)
    {
        m_isMounted =
            mount({QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                   QStringLiteral("size=") + QLatin1String(size), QStringLiteral("tmpfs"), folder});
    }
    ~SmallDisk()
    {
        if (m_isMounted)
            QProcess::execute(QStringLiteral("umount"), {m_folder});
    }

    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    /// False without the right to mount.
    bool isMounted() const { return m_isMounted; }
    void grow(const char *size)
    {
        mount({QStringLiteral("-o"), QStringLiteral("remount,size=") + QLatin1String(size),
               m_folder});
    }

private:
    static bool mount(const QStringList &arguments)
    {
        return QProcess::execute(QStringLiteral("mount"), arguments) == 0;
    }

    QString m_folder;
    bool m_isMounted = false;
};
