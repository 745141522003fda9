#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace telvora::detail {

/// What a line of libcurl's log says about a request on HTTP/2. libcurl has no other interface for
/// it.
struct CurlReport {
    /// The number of the request's stream.
    std::optional<std::uint32_t> stream {};
    /// The server closes the connection and has not processed streams above this one (GOAWAY).
    std::optional<std::uint32_t> lastStream {};
    /// The server has not processed the request (REFUSED_STREAM).
    bool isRefused = false;
    /// libcurl is about to send the request again, because it ended without a byte of an answer.
    bool isRepeating = false;
};

/// Parses one line that CURLOPT_DEBUGFUNCTION gets as CURLINFO_TEXT. Knows the wording of libcurl
/// 7.88 to 8.0. With another wording nothing is reported, and a request that the server refused
/// ends with an error.
CurlReport parseLogLine(std::string_view line);

} // namespace telvora::detail
