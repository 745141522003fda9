#include <Telvora/Platform/Curl/CurlAnswer.h>

#include <Telvora/Base/HeaderField.h>
#include <Telvora/Platform/Curl/CurlRequest.h>

#include <exception>

namespace telvora::detail {

namespace {

constexpr std::size_t headerLimit = 64 * 1024;

// A chunk of one byte has six bytes of framing; some servers add extensions to their chunks.
constexpr std::size_t framingLimit = 64 * 1024;
constexpr std::size_t framingPerByte = 8;

} // namespace

void CurlAnswer::clear()
{
    m_data.clear();
    m_headers.clear();
    m_headerBytes = 0;
    m_bodyBytes = 0;
    m_isHeadWhole = false;
    m_isDataTooLong = false;
    m_isMemoryUsedUp = false;
}

bool CurlAnswer::addData(std::string_view data) noexcept
{
    m_isDataTooLong = data.size() > m_dataLimit - m_data.size();
    if (m_isDataTooLong)
        return false;
    try {
        m_data.append(data);
    } catch (const std::exception&) {
        m_isMemoryUsedUp = true;
    }
    return !m_isMemoryUsedUp;
}

bool CurlAnswer::addHeader(std::string_view line) noexcept
try {
    m_headerBytes += line.size();
    if (line.starts_with("HTTP/")) {
        m_isHeadWhole = false;
        m_headers.clear();
    } else if (line == "\r\n" || line == "\n") {
        m_isHeadWhole = true;
    } else if (const std::size_t colon = line.find(':');
               !m_isHeadWhole && colon != std::string_view::npos) {
        m_headers.emplace_back(line.substr(0, colon), trimmedFieldValue(line.substr(colon + 1)));
    }
    return m_headerBytes <= headerLimit;
} catch (const std::exception&) {
    m_isMemoryUsedUp = true;
    return false;
}

bool CurlAnswer::isFramingWithinLimit() const
{
    // Trailers are counted as body bytes too, but they have the limit of the headers.
    return m_bodyBytes <= m_data.size() * (1 + framingPerByte) + framingLimit + m_headerBytes;
}

std::optional<std::string> CurlAnswer::limitError() const
{
    if (m_isMemoryUsedUp)
        return outOfMemory;
    if (m_isDataTooLong)
        return "Answer above " + std::to_string(m_dataLimit) + " bytes";
    if (m_headerBytes > headerLimit)
        return "Headers of the answer above " + std::to_string(headerLimit) + " bytes";
    if (!isFramingWithinLimit())
        return "Chunk framing of the answer too long";
    return std::nullopt;
}

} // namespace telvora::detail
