#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace telvora::detail {

/// What a line of libcurl's log says about a request on HTTP/2. libcurl tells it in no other way.
struct CurlReport {
    /// The request has become this stream.
    std::optional<std::uint32_t> stream {};
    /// The server closes the connection and has not looked at streams above this one (GOAWAY).
    std::optional<std::uint32_t> lastStream {};
    /// The server has not looked at the request (REFUSED_STREAM).
    bool isRefused = false;
    /// libcurl is about to repeat the request, since it ended without a byte of an answer.
    bool isRepeating = false;
};

/// Reads one line of what CURLOPT_DEBUGFUNCTION gives as CURLINFO_TEXT. Knows the wording of
/// libcurl 7.88 to 8.0; what another version words otherwise is not reported, and a request that a
/// server refused is then an error like any other.
CurlReport reportIn(std::string_view line);

} // namespace telvora::detail
