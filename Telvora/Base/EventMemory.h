#pragma once

#include <Telvora/Base/Dictionary.h>

#include <boost/json/memory_resource.hpp>

#include <cstddef>
#include <new>
#include <type_traits>

namespace telvora::detail {

/// The fields of one event and the memory that they take: one block that begins with this object,
/// and further blocks where that is too small. Given back as a whole, so the fields are never
/// destroyed one by one.
///
/// Not counted, as Boost's shared resources are: each value of an event would change the count.
///
/// Life: make() to free(). Threads: a value without a lock.
/// Failure: std::bad_alloc.
class EventMemory final : public boost::json::memory_resource {
public:
    /// With room for that many fields of the usual length.
    static EventMemory* make(std::size_t fieldCount);
    static void free(EventMemory* memory) noexcept;

    /// Only free() calls it.
    ~EventMemory() override;

    /// A dictionary.
    Value& event() { return *std::launder(reinterpret_cast<Value*>(m_event)); }
    /// How long all blocks are together.
    std::size_t bytes() const { return m_bytes; }

private:
    // In front of the memory of each further block.
    struct Block {
        Block* next;
    };

    EventMemory(std::byte* room, std::size_t bytes);

    void* do_allocate(std::size_t bytes, std::size_t alignment) override;
    void do_deallocate(void* memory, std::size_t bytes, std::size_t alignment) override;
    bool do_is_equal(const boost::json::memory_resource& other) const noexcept override
    {
        return this == &other;
    }

    std::byte* m_room;
    std::byte* m_end;
    std::size_t m_bytes;
    Block* m_blocks = nullptr;
    // A Value that is never destroyed: its memory is given back as a whole.
    alignas(Value) std::byte m_event[sizeof(Value)];
};

} // namespace telvora::detail

template<>
struct boost::json::is_deallocate_trivial<telvora::detail::EventMemory> : std::true_type {
};
