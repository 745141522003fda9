#pragma once

#include <Telvora/Platform/HTTPClient.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace telvora::detail {

/// Collects an answer while it arrives, and stops an answer that is too long. There is one limit
/// for the data, one for the headers (interim answers and trailers included), and one for the
/// framing bytes between the chunks of the body.
///
/// Threads: one.
class CurlAnswer {
public:
    /// `dataLimit`, in bytes, must outlive this object.
    explicit CurlAnswer(const std::size_t& dataLimit)
        : m_dataLimit(dataLimit)
    {
    }

    /// Forgets the answer, so that another one can be collected.
    void clear();

    // These return false once a limit is exceeded or memory is used up.
    bool addData(std::string_view data) noexcept;
    bool addHeader(std::string_view line) noexcept;
    bool isFramingWithinLimit() const;

    /// Counts bytes of the body as they came over the network, framing included. Call it before
    /// addData() for the same bytes.
    void countBody(std::size_t bytes) { m_bodyBytes += bytes; }

    /// Whether the headers are complete.
    bool isHeadWhole() const { return m_isHeadWhole; }
    /// The error text for the exceeded limit; absent if none was exceeded.
    std::optional<std::string> limitError() const;
    std::string takeData() { return std::exchange(m_data, {}); }
    HTTPHeaders takeHeaders() { return std::exchange(m_headers, {}); }

private:
    const std::size_t& m_dataLimit;
    std::string m_data;
    // Of the newest head: an interim answer has one of its own.
    HTTPHeaders m_headers;
    std::size_t m_headerBytes = 0;
    std::size_t m_bodyBytes = 0;
    bool m_isHeadWhole = false;
    bool m_isDataTooLong = false;
    bool m_isMemoryUsedUp = false;
};

} // namespace telvora::detail
