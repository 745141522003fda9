#include <Telvora/Base/EventMemory.h>

#include <Telvora/Base/EventBuilder.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace telvora::detail {

namespace {

// glibc sorts all blocks that were freed on other threads before it takes one of 1,024 bytes or
// more. Its own header has eight bytes.
constexpr std::size_t usualBlock = 1000;

// A table entry, a short key and half a longer text.
constexpr std::size_t bytesForField = 72;

// The table of a dictionary. One of more than 18 fields has an index.
constexpr std::size_t tableBytes(std::size_t fields)
{
    constexpr std::size_t header = 16;
    constexpr std::size_t indexEntry = 4;
    return header + fields * (sizeof(Dictionary::value_type) + indexEntry);
}

} // namespace

EventMemory* EventMemory::make(std::size_t fieldCount)
{
    // "network" may be put in as well.
    ++fieldCount;
    // Texts for which a usual block has no room get a second one. That costs less than one long
    // block.
    const bool isUsual = sizeof(EventMemory) + tableBytes(fieldCount) <= usualBlock;
    const std::size_t size
        = isUsual ? usualBlock : sizeof(EventMemory) + fieldCount * bytesForField;
    auto* const block = static_cast<std::byte*>(::operator new(size));
    auto* const memory = ::new (block) EventMemory(block + sizeof(EventMemory), size);
    std::unique_ptr<EventMemory, EventMemoryDeleter> owner(memory);
    memory->event().get_object().reserve(fieldCount);
    return owner.release();
}

void EventMemory::free(EventMemory* memory) noexcept
{
    memory->~EventMemory();
    ::operator delete(memory);
}

EventMemory::EventMemory(std::byte* room, std::size_t bytes)
    : m_room(room)
    , m_end(room - sizeof(EventMemory) + bytes)
    , m_bytes(bytes)
{
    ::new (m_event) Value(boost::json::object_kind, boost::json::storage_ptr(this));
}

EventMemory::~EventMemory()
{
    while (m_blocks)
        ::operator delete(std::exchange(m_blocks, m_blocks->next));
}

void* EventMemory::do_allocate(std::size_t bytes, std::size_t alignment)
{
    void* place = m_room;
    auto room = static_cast<std::size_t>(m_end - m_room);
    if (!std::align(alignment, bytes, place, room)) {
        const std::size_t size = std::max(usualBlock, sizeof(Block) + alignment + bytes);
        auto* const block = static_cast<std::byte*>(::operator new(size));
        m_blocks = ::new (block) Block { m_blocks };
        m_bytes += size;
        m_end = block + size;
        place = block + sizeof(Block);
        room = size - sizeof(Block);
        std::align(alignment, bytes, place, room);
    }
    m_room = static_cast<std::byte*>(place) + bytes;
    return place;
}

void EventMemory::do_deallocate(void* memory, std::size_t bytes, std::size_t)
{
    // The last piece can be used again.
    if (static_cast<std::byte*>(memory) + bytes == m_room)
        m_room = static_cast<std::byte*>(memory);
}

void EventMemoryDeleter::operator()(EventMemory* memory) const noexcept
{
    EventMemory::free(memory);
}

} // namespace telvora::detail
