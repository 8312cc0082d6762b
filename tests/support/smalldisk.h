#pragma once

#include <QFile>

#include <sys/mount.h>

/// A small file system of its own on a folder, for what happens when a disk is full.
class SmallDisk
{
public:
    SmallDisk(const QString &folder, const char *size)
        : m_folder(QFile::encodeName(folder))
        , m_isMounted(mount(size, 0))
    {
    }
    ~SmallDisk() { ::umount(m_folder.constData()); }

    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    /// False without the right to mount.
    bool isMounted() const { return m_isMounted; }
    void grow(const char *size) const { mount(size, MS_REMOUNT); }

private:
    bool mount(const char *size, unsigned long flags) const
    {
        return ::mount("tmpfs", m_folder.constData(), "tmpfs", flags,
                       ("size=" + QByteArray(size)).constData()) == 0;
    }

    const QByteArray m_folder;
    const bool m_isMounted;
};
