#include "gunzip.h"

#include <zlib.h>

#include <array>

namespace
{

/// With the header and trailer of a file, whose sums are checked.
constexpr int fileFormat = MAX_WBITS + 16;

/// Whether another member follows. What else follows is padding.
bool isMember(const z_stream &stream)
{
    return stream.avail_in >= 2 && stream.next_in[0] == 0x1f && stream.next_in[1] == 0x8b;
}

/// Decompresses the member of a file that the stream is at.
Gunzipped::Result inflateMember(z_stream &stream, QByteArray &data, qsizetype limit)
{
    std::array<char, size_t{64} * 1024> part;
    for (;;) {
        stream.next_out = reinterpret_cast<Bytef *>(part.data());
        stream.avail_out = part.size();
        const int code = ::inflate(&stream, Z_NO_FLUSH);
        // Without any progress: the file ends too early.
        if (code != Z_OK && code != Z_STREAM_END)
            return Gunzipped::Damaged;
        const auto count = static_cast<qsizetype>(part.size() - stream.avail_out);
        if (count > limit - data.size())
            return Gunzipped::TooLarge;
        data.append(part.data(), count);
        if (code == Z_STREAM_END)
            return Gunzipped::Complete;
    }
}

} // namespace

Gunzipped gunzip(const QByteArray &data, qsizetype limit)
{
    z_stream stream = {};
    if (inflateInit2(&stream, fileFormat) != Z_OK)
        return {};
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
    Gunzipped file;
    do
        file.result = inflateMember(stream, file.data, limit);
    while (file.result == Gunzipped::Complete && isMember(stream) && inflateReset(&stream) == Z_OK);
    inflateEnd(&stream);
    return file;
}
