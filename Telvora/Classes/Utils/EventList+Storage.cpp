#include <Telvora/Classes/Utils/EventList.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

// What is done to a list as a whole or for limits, and not for each event. It is compiled for size.

namespace telvora::detail {

namespace {

// Each chunk is as long as all before it, or as what it is made for, within these bounds.
constexpr std::size_t shortestChunk = 1024;
constexpr std::size_t longestChunk = std::size_t { 64 } * 1024;

} // namespace

EventList::EventList() = default;
EventList::EventList(const EventList&) = default;
// Both written out by the compiler would be twice the code.
EventList::EventList(EventList&& other) noexcept
    : EventList()
{
    *this = std::move(other);
}
EventList& EventList::operator=(EventList&&) noexcept = default;
EventList::~EventList() = default;

void EventList::addChunks(std::size_t bytes)
{
    std::size_t room = m_chunks.empty() ? 0 : m_chunks[m_current].capacity - m_used;
    for (std::size_t next = m_current + 1; next < m_chunks.size(); ++next)
        room += m_chunks[next].capacity;
    while (room < bytes) {
        const std::size_t capacity
            = std::clamp(std::max(m_bytes, bytes - room), shortestChunk, longestChunk);
        m_chunks.push_back({ std::make_shared_for_overwrite<char[]>(capacity), capacity });
        room += capacity;
    }
}

std::vector<WholeEvent> EventList::wholeEvents() const
{
    std::vector<WholeEvent> wholeEvents(
        m_wholeEvents.begin() + static_cast<std::ptrdiff_t>(m_removedWhole), m_wholeEvents.end());
    for (WholeEvent& whole : wholeEvents) {
        whole.position -= m_removedSize;
        whole.offset -= m_removedBytes;
    }
    return wholeEvents;
}

// Events end at the commas that are in no brackets and in no text.
void EventList::forEachLength(FunctionRef<bool(std::size_t length)> use) const
{
    std::size_t length = 0;
    std::size_t depth = 0;
    bool isInText = false;
    bool isEscaped = false;
    bool isDone = false;
    forEachPiece([&](std::string_view piece) {
        for (const char character : piece) {
            if (character == ',' && depth == 0 && !isInText) {
                isDone = !use(std::exchange(length, 0));
                if (isDone)
                    return false;
                continue;
            }
            ++length;
            if (isInText) {
                isInText = isEscaped || character != '"';
                isEscaped = !isEscaped && character == '\\';
            } else if (character == '"') {
                isInText = true;
            } else if (character == '{' || character == '[') {
                ++depth;
            } else if (character == '}' || character == ']') {
                --depth;
            }
        }
        return true;
    });
    if (!isDone && m_size > 0)
        use(length);
}

std::size_t EventList::firstLength() const
{
    if (m_size == 1)
        return m_bytes;
    std::size_t first = 0;
    forEachLength([&](std::size_t length) {
        first = length;
        return false;
    });
    return first;
}

void EventList::removeFirst(std::size_t size, std::size_t bytes) noexcept
{
    if (size == 0)
        return;
    if (size == m_size) {
        *this = EventList();
        return;
    }
    const std::size_t withComma = bytes + 1;
    m_size -= size;
    m_bytes -= withComma;
    m_removedSize += size;
    m_removedBytes += withComma;
    m_arrivals.removeFirst(size);

    m_begin += withComma;
    std::size_t passed = 0;
    while (m_begin >= m_chunks[passed].capacity)
        m_begin -= m_chunks[passed++].capacity;
    m_chunks.erase(m_chunks.begin(), m_chunks.begin() + static_cast<std::ptrdiff_t>(passed));
    m_current -= passed;

    while (m_removedWhole < m_wholeEvents.size()
        && m_wholeEvents[m_removedWhole].position < m_removedSize) {
        WholeEvent& whole = m_wholeEvents[m_removedWhole++];
        if (!whole.isEncodable)
            --m_unencodable;
        whole.event = nullptr;
    }
    if (m_removedWhole > m_wholeEvents.size() / 2) {
        m_wholeEvents.erase(m_wholeEvents.begin(),
            m_wholeEvents.begin() + static_cast<std::ptrdiff_t>(m_removedWhole));
        m_removedWhole = 0;
    }
}

void EventList::keepFirst(std::size_t size, std::size_t bytes) noexcept
{
    if (size == m_size)
        return;
    if (size == 0) {
        *this = EventList();
        return;
    }
    m_arrivals.removeLast(m_size - size);
    m_size = size;
    m_bytes = bytes;

    // A copy may be reading the text behind, so what is appended next goes into another chunk.
    m_current = 0;
    m_used = m_begin + bytes;
    while (m_used > m_chunks[m_current].capacity)
        m_used -= m_chunks[m_current++].capacity;
    m_chunks[m_current].capacity = m_used;
    m_chunks.erase(m_chunks.begin() + static_cast<std::ptrdiff_t>(m_current) + 1, m_chunks.end());

    while (m_wholeEvents.size() > m_removedWhole
        && m_wholeEvents.back().position >= m_removedSize + size) {
        if (!m_wholeEvents.back().isEncodable)
            --m_unencodable;
        m_wholeEvents.pop_back();
    }
}

} // namespace telvora::detail
