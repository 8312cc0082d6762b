#pragma once

#include <QFile>
#include <QStringDecoder>

#include <optional>
#include <string>
#include <string_view>

/// The lines of a text file, in UTF-8 whatever the file's encoding: UTF-8 with or without a
/// byte-order mark, UTF-16 with one, otherwise Windows-1252. The encoding holds for the whole file:
/// it is read through once to find it, block by block. A few bytes that are not UTF-8 make no other
/// encoding of it; they are read as U+FFFD. Lines end with CR LF, LF or CR.
class TextLines
{
public:
    /// Longer lines are those of a file that is no text.
    static constexpr size_t longestLine = size_t(64) << 20;

    /// Throws StorageError.
    explicit TextLines(const QString &path);

    /// False at the end. The text is there until the next call. Throws StorageError.
    bool next(std::string_view &line);
    /// Whether bytes of the line are not in the file's encoding.
    bool isDamaged() const { return m_isDamaged; }
    /// How much of the file is read, from 0 to 1.
    double progress() const;

private:
    /// Adds a block to the text that is not handed out yet; false when the file has no more.
    bool fill();
    QByteArray readBlock();
    bool isMostlyUtf8();

    QFile m_file;
    std::optional<QStringDecoder> m_decoder; // none: the file is UTF-8 already
    std::string m_text;
    size_t m_position = 0; // of what is not handed out yet in m_text
    std::string m_mended;  // the line, where it is damaged
    bool m_isDamaged = false;
    bool m_atEnd = false;
};
