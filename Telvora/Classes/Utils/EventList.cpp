#include <Telvora/Classes/Utils/EventList.h>

#include <Telvora/Base/UsualMemory.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace telvora::detail {

namespace {

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

void EventList::makeRoom(std::size_t bytes)
{
    if (m_chunks.empty() || m_chunks[m_current].capacity - m_used < bytes)
        addChunks(bytes);
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

void EventList::copyTextTo(std::string& text) const
{
    forEachPiece([&](std::string_view piece) {
        text.append(piece);
        return true;
    });
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
