#pragma once

#include "recipientrecords.h"

#include <QtGlobal>

/// The recipients of a file, one line or row after the other.
class RecipientSource
{
public:
    virtual ~RecipientSource() = default;

    /// Reads the next line. False at the end. Throws StorageError.
    virtual bool next() = 0;
    /// The number of the line that next() has read, as the file's own program counts.
    virtual qint64 number() const = 0;
    /// Whether it is an empty line, which is no recipient.
    virtual bool isEmpty() const { return false; }
    /// Whether it has characters that cannot be read, which are U+FFFD in the record.
    virtual bool isDamaged() const { return false; }
    virtual const RecipientRecord &record() const = 0;
    /// How much of the file is read, from 0 to 1.
    virtual double progress() const = 0;
};
