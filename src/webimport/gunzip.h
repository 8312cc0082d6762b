#pragma once

#include <QByteArray>

/// A decompressed file.
struct Gunzipped {
    enum Result {
        Complete,
        Damaged,  ///< not in this form, or cut off
        TooLarge, ///< more than the limit
    };

    Result result = Damaged;
    QByteArray data; ///< where complete
};

/// What was compressed into `data` (RFC 1952), of at most `limit` bytes.
Gunzipped gunzip(const QByteArray &data, qsizetype limit);
