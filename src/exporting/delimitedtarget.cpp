#include "delimitedtarget.h"

#include "storageerror.h"

#include <QFileInfo>
#include <QSaveFile>

namespace
{

constexpr size_t blockSize = size_t{256} * 1024;

/// Whether the path stands for something that is open already or is no file, such as /dev/stdout;
/// even where that leads to a file, it is not a name for it.
bool isDevice(const QString &path)
{
    QFileInfo info(path);
    if (isNoFile(path) && !info.isDir())
        return true;
    constexpr int mostLinks = 40; // as the system follows; they may go round in a circle
    for (int i = 0; i < mostLinks; ++i) {
        const QString name = info.absoluteFilePath();
        if (name.startsWith(QLatin1String("/proc/")))
            return true;
        // There are files in memory there too.
        if (name.startsWith(QLatin1String("/dev/")) && !name.startsWith(QLatin1String("/dev/shm/")))
            return true;
        if (!info.isSymLink())
            return false;
        info.setFile(info.symLinkTarget());
    }
    return false;
}

std::unique_ptr<QFileDevice> outputFile(const QString &path)
{
    if (isDevice(path))
        return std::make_unique<QFile>(path);
    return std::make_unique<QSaveFile>(path);
}

} // namespace

DelimitedTarget::DelimitedTarget(const QString &separator)
    : m_separator(separator.toStdString())
{
}

void DelimitedTarget::write(std::span<const std::string> fields)
{
    for (const std::string &field : fields) {
        if (&field != &fields.front())
            m_text += m_separator;
        m_text += field;
    }
    m_text += "\r\n";
}

DelimitedFileTarget::DelimitedFileTarget(const QString &path, const QString &separator)
    : DelimitedTarget(separator)
    , m_file(outputFile(path))
{
    // What is not replaced is added to.
    const auto mode = qobject_cast<QSaveFile *>(m_file.get())
                          ? QIODevice::WriteOnly
                          : QIODevice::WriteOnly | QIODevice::Append;
    if (!m_file->open(mode | QIODevice::Unbuffered))
        cannotWrite(m_file->fileName(), m_file->errorString());
}

DelimitedFileTarget::~DelimitedFileTarget() = default;

void DelimitedFileTarget::write(std::span<const std::string> fields)
{
    DelimitedTarget::write(fields);
    if (m_text.size() >= blockSize)
        flush();
}

void DelimitedFileTarget::finish()
{
    flush();
    auto *file = qobject_cast<QSaveFile *>(m_file.get());
    if (file && !file->commit())
        cannotWrite(m_file->fileName(), m_file->errorString());
}

void DelimitedFileTarget::flush()
{
    // A disk that fills up takes a part and says why only to the next attempt.
    for (size_t done = 0; done < m_text.size();) {
        const qint64 written = m_file->write(m_text.data() + done, qint64(m_text.size() - done));
        if (written <= 0)
            cannotWrite(m_file->fileName(), m_file->errorString());
        done += size_t(written);
    }
    m_text.clear();
}
