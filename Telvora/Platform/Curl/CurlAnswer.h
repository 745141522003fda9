#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace telvora::detail {

/// An answer as it arrives, up to the limits that keep an endless one from filling the memory and
/// the network: of its data, of its headers (with interim answers and trailers), and of what comes
/// between the chunks of its body.
///
/// Threads: one.
class CurlAnswer {
public:
    /// `dataLimit`, in bytes, must outlive it.
    explicit CurlAnswer(const std::size_t& dataLimit)
        : m_dataLimit(dataLimit)
    {
    }

    /// Begins with the next answer.
    void clear();

    /// These are false once there is too much.
    bool addData(std::string_view data) noexcept;
    bool addHeader(std::string_view line);
    bool isFramingWithinLimit() const;

    /// Bytes of the body as they came over the network. They are counted before their data is
    /// added.
    void countBody(std::size_t bytes) { m_bodyBytes += bytes; }

    /// Whether the headers have come to their end.
    bool isHeadWhole() const { return m_isHeadWhole; }
    /// What there was too much of.
    std::optional<std::string> excess() const;
    std::string takeData() { return std::exchange(m_data, {}); }

private:
    const std::size_t& m_dataLimit;
    std::string m_data;
    std::size_t m_headerBytes = 0;
    std::size_t m_bodyBytes = 0;
    bool m_isHeadWhole = false;
    bool m_isDataTooLong = false;
    bool m_isMemoryUsedUp = false;
};

} // namespace telvora::detail
