#include "delimitedtarget.h"

#include "storageerror.h"

#include <QFileInfo>
#include <QSaveFile>

namespace
{

constexpr size_t blockSize = 256 * 1024;

/// A device such as /dev/stdout is written to; only a file can be replaced.
std::unique_ptr<QFileDevice> outputFile(const QString &path)
{
    const QFileInfo info(path);
    if (info.exists() && !info.isFile() && !info.isDir())
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
    if (!m_file->open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        fail();
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
        fail();
}

void DelimitedFileTarget::flush()
{
    // A disk that fills up takes a part and says why only to the next attempt.
    for (size_t done = 0; done < m_text.size();) {
        const qint64 written = m_file->write(m_text.data() + done, qint64(m_text.size() - done));
        if (written <= 0)
            fail();
        done += size_t(written);
    }
    m_text.clear();
}

void DelimitedFileTarget::fail() const
{
    throw StorageError(
        0, QStringLiteral("File system"),
        QStringLiteral("Cannot write %1: %2").arg(m_file->fileName(), m_file->errorString()));
}
