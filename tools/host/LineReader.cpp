#include <tools/host/LineReader.h>

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace telvora::host {

LineReader::LineReader(int descriptor, std::size_t limit)
    : m_descriptor(descriptor)
    , m_limit(limit)
    , m_buffer(64 * 1024)
{
}

std::optional<LineReader::Line> LineReader::next()
{
    Line line;
    bool isStarted = false;
    while (m_begin < m_end || fill()) {
        isStarted = true;
        const char* start = m_buffer.data() + m_begin;
        const std::size_t available = m_end - m_begin;
        const void* end = std::memchr(start, '\n', available);
        const std::size_t length
            = end ? static_cast<std::size_t>(static_cast<const char*>(end) - start) : available;
        m_begin += length + (end ? 1 : 0);
        if (line.text.size() + length > m_limit)
            line.isTooLong = true;
        if (line.isTooLong)
            line.text = {};
        else
            line.text.append(start, length);
        if (end)
            break;
    }
    return isStarted ? std::optional<Line>(std::move(line)) : std::nullopt;
}

bool LineReader::fill()
{
    ssize_t count = 0;
    do
        count = ::read(m_descriptor, m_buffer.data(), m_buffer.size());
    while (count < 0 && errno == EINTR);
    m_begin = 0;
    m_end = count > 0 ? static_cast<std::size_t>(count) : 0;
    return m_end > 0;
}

} // namespace telvora::host
