#include <Telvora/Base/Gzip.h>

#include <algorithm>
#include <limits>
#include <new>

#include <zlib.h>

namespace telvora::detail {

namespace {

// The largest window (2 to the power of 15 bytes), and the gzip format.
constexpr int windowBits = 15 + 16;
constexpr int usualMemoryLevel = 8;

// zlib counts in unsigned int, so long input and output are handed over in portions.
uInt portion(std::size_t bytes)
{
    return static_cast<uInt>(std::min<std::size_t>(bytes, std::numeric_limits<uInt>::max()));
}

Bytef* asBytes(const char* bytes)
{
    // zlib does not change its input.
    return reinterpret_cast<Bytef*>(const_cast<char*>(bytes));
}

// Calls `step` until it returns something else than Z_OK, and returns that. The output grows as
// needed.
template<typename Step>
int run(z_stream& stream, std::string_view input, std::string& output, Step step)
{
    std::size_t given = 0;
    std::size_t made = 0;
    while (true) {
        if (stream.avail_in == 0) {
            stream.next_in = asBytes(input.data() + given);
            stream.avail_in = portion(input.size() - given);
            given += stream.avail_in;
        }
        if (made == output.size())
            output.resize(std::max<std::size_t>(1024, 2 * output.size()));
        stream.next_out = asBytes(output.data() + made);
        stream.avail_out = portion(output.size() - made);
        const std::size_t room = stream.avail_out;
        const int result = step(&stream, given == input.size());
        made += room - stream.avail_out;
        if (result != Z_OK) {
            output.resize(made);
            return result;
        }
    }
}

} // namespace

std::string gzipped(std::string_view bytes)
{
    z_stream stream {};
    if (deflateInit2(
            &stream, Z_BEST_SPEED, Z_DEFLATED, windowBits, usualMemoryLevel, Z_DEFAULT_STRATEGY)
        != Z_OK)
        throw std::bad_alloc();
    std::string compressed;
    try {
        run(stream, bytes, compressed, [](z_stream* state, bool isLast) {
            return deflate(state, isLast ? Z_FINISH : Z_NO_FLUSH);
        });
    } catch (...) {
        deflateEnd(&stream);
        throw;
    }
    deflateEnd(&stream);
    compressed.shrink_to_fit();
    return compressed;
}

std::optional<std::string> gunzipped(std::string_view compressed)
{
    z_stream stream {};
    if (inflateInit2(&stream, windowBits) != Z_OK)
        throw std::bad_alloc();
    std::string bytes;
    bool isWhole = false;
    try {
        const int result = run(stream, compressed, bytes,
            [](z_stream* state, bool) { return inflate(state, Z_NO_FLUSH); });
        isWhole = result == Z_STREAM_END && stream.avail_in == 0;
    } catch (...) {
        inflateEnd(&stream);
        throw;
    }
    inflateEnd(&stream);
    return isWhole ? std::optional(std::move(bytes)) : std::nullopt;
}

} // namespace telvora::detail
