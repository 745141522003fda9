#include <Telvora/Classes/Utils/EventList.h>

#include <Telvora/Base/UsualMemory.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace telvora::detail {

namespace {

// Each chunk is as long as all before it, or as what it is made for, within these bounds.
constexpr std::size_t shortestChunk = 1024;
constexpr std::size_t longestChunk = std::size_t { 64 } * 1024;

// Boost's parser recurses, so an event that is nested deeper is not read from its text.
constexpr std::size_t deepestDecoded = 256;

std::shared_ptr<const AnyDepth<Value>> keep(Value&& event)
{
    // Moves nothing before it has the memory.
    if (isInUsualMemory(event))
        return std::make_shared<const AnyDepth<Value>>(std::move(event));
    AnyDepth<Value> copied(copy(event));
    return std::make_shared<const AnyDepth<Value>>(std::move(copied));
}

} // namespace

EncodedEvent encodeEvent(const Value& event, Encoder& encoder)
{
    encoder.clear();
    if (!encoder.write(event))
        return { "null", false, true };
    const bool mustBeKept = encoder.hasRepaired() || encoder.depth() > deepestDecoded;
    return { encoder.view(), true, mustBeKept };
}

EventList::Appended EventList::append(Value&& event, const EncodedEvent& encoded)
{
    const auto [text, isEncodable, mustBeKept] = encoded;

    // Everything that can throw is done before anything changes.
    makeRoom(1 + text.size());
    m_arrivals.makeRoom();
    if (mustBeKept && m_wholeEvents.size() == m_wholeEvents.capacity())
        m_wholeEvents.reserve(2 * m_wholeEvents.size() + 1);
    auto whole = mustBeKept ? keep(std::move(event)) : nullptr;

    if (m_size > 0)
        add(",");
    if (mustBeKept) {
        m_wholeEvents.push_back(
            { m_removedSize + m_size, m_removedBytes + m_bytes, text.size(), whole, isEncodable });
        if (!isEncodable)
            ++m_unencodable;
    }
    add(text);
    m_arrivals.add(nextArrival());
    ++m_size;
    return { text.size(), std::move(whole) };
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

void EventList::makeRoom(std::size_t bytes)
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

void EventList::add(std::string_view text) noexcept
{
    m_bytes += text.size();
    while (!text.empty()) {
        if (m_used == m_chunks[m_current].capacity) {
            ++m_current;
            m_used = 0;
        }
        const Chunk& chunk = m_chunks[m_current];
        const std::size_t length = std::min(text.size(), chunk.capacity - m_used);
        std::memcpy(chunk.bytes.get() + m_used, text.data(), length);
        m_used += length;
        text.remove_prefix(length);
    }
}

template<typename Use> void EventList::forEachPiece(Use&& use) const
{
    std::size_t begin = m_begin;
    std::size_t rest = m_bytes;
    for (const Chunk& chunk : m_chunks) {
        const std::size_t length = std::min(rest, chunk.capacity - begin);
        if (!use(std::string_view(chunk.bytes.get() + begin, length)))
            return;
        begin = 0;
        rest -= length;
    }
}

void EventList::copyTextTo(std::string& text) const
{
    forEachPiece([&](std::string_view piece) {
        text.append(piece);
        return true;
    });
}

// Events end at the commas that are in no brackets and in no text.
template<typename Use> void EventList::forEachLength(Use&& use) const
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

std::vector<std::size_t> EventList::lengths() const
{
    std::vector<std::size_t> lengths;
    lengths.reserve(m_size);
    forEachLength([&](std::size_t length) {
        lengths.push_back(length);
        return true;
    });
    return lengths;
}

Array EventList::decoded() const
{
    std::string text;
    text.reserve(m_bytes);
    copyTextTo(text);
    return decodeEvents(text, wholeEvents());
}

Array decodeEvents(std::string_view text, const std::vector<WholeEvent>& wholeEvents)
{
    // The text without that of the whole events, which may be nested too deeply.
    std::string readable = "[";
    readable.reserve(text.size() + 2);
    std::size_t offset = 0;
    for (const WholeEvent& whole : wholeEvents) {
        readable += text.substr(offset, whole.offset - offset);
        readable += "null";
        offset = whole.offset + whole.length;
    }
    readable += text.substr(offset);
    readable += ']';

    Decoded decoded = decode(readable);
    AnyDepth<Array> events(std::move(decoded.value.value().get_array()));
    for (const WholeEvent& whole : wholeEvents)
        (*events)[whole.position] = copy(**whole.event);
    return std::move(*events);
}

} // namespace telvora::detail
