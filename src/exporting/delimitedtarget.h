#pragma once

#include "recordtarget.h"

#include <QString>

#include <memory>

class QFileDevice;

/// Records as lines of text that end with CR LF, their fields as they are, parted by a separator.
class DelimitedTarget : public RecordTarget
{
public:
    explicit DelimitedTarget(const QString &separator);
    void write(std::span<const std::string> fields) override;
    void finish() override {}

protected:
    std::string m_text;

private:
    const std::string m_separator;
};

/// Writes a file in UTF-8. It takes the place of a file of the name only when it is finished.
class DelimitedFileTarget final : public DelimitedTarget
{
public:
    /// Throws StorageError.
    DelimitedFileTarget(const QString &path, const QString &separator);
    ~DelimitedFileTarget() override;

    void write(std::span<const std::string> fields) override;
    void finish() override;

private:
    void flush();

    std::unique_ptr<QFileDevice> m_file;
};
