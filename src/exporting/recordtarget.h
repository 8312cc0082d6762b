#pragma once

#include <QString>

#include <span>
#include <string>

/// Where exported records go. What is not finished is taken back: no half file is left that looks
/// like a whole one.
class RecordTarget
{
public:
    virtual ~RecordTarget() = default;

    /// Throws StorageError where it cannot take that many records.
    virtual void expect(qint64 records) { Q_UNUSED(records) }
    /// `fields` in UTF-8. Throws StorageError.
    virtual void write(std::span<const std::string> fields) = 0;
    /// Throws StorageError. Nothing else is called before it is done, but it may run on another
    /// thread.
    virtual void finish() = 0;
    /// What a person has to know of the finished records; usually nothing.
    virtual QString remark() const { return {}; }
};
