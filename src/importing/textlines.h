#pragma once

#include <QFile>
#include <QStringDecoder>

#include <optional>
#include <string>
#include <string_view>

/// The lines of a text file, in UTF-8 whatever the file's encoding: UTF-8 with or without a
/// byte-order mark, UTF-16 with one, otherwise Windows-1252. The encoding holds for the whole file:
/// it is read through once to find it, block by block. Lines end with CR LF, LF or CR.
class TextLines
{
public:
    /// Longer lines are those of a file that is no text.
    static constexpr size_t longestLine = size_t(64) << 20;

    /// Throws StorageError.
    explicit TextLines(const QString &path);

    /// False at the end. The text is there until the next call. Throws StorageError.
    bool next(std::string_view &line);
    /// How much of the file is read, from 0 to 1.
    double progress() const;

private:
    /// Adds a block to the text that is not handed out yet; false when the file has no more.
    bool fill();
    QByteArray readBlock();
    bool isValidUtf8();
    [[noreturn]] void fail(const QString &reason) const;

    QFile m_file;
    std::optional<QStringDecoder> m_decoder; // none: the file is UTF-8 already
    std::string m_text;
    size_t m_position = 0; // of what is not handed out yet in m_text
    bool m_atEnd = false;
};
