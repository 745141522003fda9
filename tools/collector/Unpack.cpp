#include <tools/collector/Unpack.h>

#include <boost/beast/core/string.hpp>

#include <array>
#include <memory>
#include <new>

#include <zlib.h>

namespace telvora::collector {

namespace {

// The contents of one gzip member; absent if it is broken or longer than `maximumBytes`.
std::optional<std::string> gunzip(std::string_view body, std::size_t maximumBytes)
{
    z_stream stream {};
    if (inflateInit2(&stream, MAX_WBITS + 16) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> owner(&stream, &inflateEnd);
    // The caller's limit of a body is far below the range of an unsigned int.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
    stream.avail_in = static_cast<uInt>(body.size());

    std::string unpacked;
    int result = Z_OK;
    while (result == Z_OK && unpacked.size() <= maximumBytes) {
        std::array<char, std::size_t { 64 } * 1024> piece;
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = piece.size();
        result = inflate(&stream, Z_NO_FLUSH);
        unpacked.append(piece.data(), piece.size() - stream.avail_out);
    }
    if (result != Z_STREAM_END || stream.avail_in > 0 || unpacked.size() > maximumBytes)
        return std::nullopt;
    return unpacked;
}

} // namespace

std::optional<std::string> unpack(
    const Headers& headers, std::string& body, std::size_t maximumBytes)
{
    bool isUnpacked = false;
    for (const auto& [name, value] : headers) {
        if (!boost::beast::iequals({ name.data(), name.size() }, "Content-Encoding"))
            continue;
        if (isUnpacked)
            return "header Content-Encoding comes twice";
        if (!boost::beast::iequals({ value.data(), value.size() }, "gzip"))
            return "header Content-Encoding is \"" + value + "\", not \"gzip\"";
        auto unpacked = gunzip(body, maximumBytes);
        if (!unpacked)
            return "body is no gzip, or of more than " + std::to_string(maximumBytes)
                + " bytes unpacked";
        body = std::move(*unpacked);
        isUnpacked = true;
    }
    return std::nullopt;
}

} // namespace telvora::collector
