#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/EventValue.h>
#include <Telvora/Base/Export.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace telvora {

class EventBuilder;

namespace detail {

class EventMemory;

struct TELVORA_EXPORT EventMemoryDeleter {
    void operator()(EventMemory* memory) const noexcept;
};

/// The event, made on first use. It lives as long as the builder. So does the memory of what is
/// copied or moved out of it, unless that has a storage of its own.
TELVORA_EXPORT Value& eventOf(EventBuilder& builder);
/// How much memory the builder has.
TELVORA_EXPORT std::size_t bytesOf(const EventBuilder& builder);
inline Dictionary& fieldsOf(EventBuilder& builder)
{
    return eventOf(builder).get_object();
}

} // namespace detail

/// Builds an event in one block of memory. A Dictionary takes a block for the table, one for each
/// key and one for each longer text, and another thread gives all of them back; that costs as much
/// as building the event.
///
///     EventBuilder event(2);
///     event.set("name", "order.submit").set("price", 104.25);
///     manager.enrollMPTrack(std::move(event));
///
/// Life: empty until the first set(), and empty again once handed over.
/// Threads: a value without a lock.
/// Failure: set() and the constructor from a dictionary throw std::bad_alloc. set() has then
/// changed nothing.
class TELVORA_EXPORT EventBuilder {
public:
    /// `fields` is how many fields the host will set. With more the event needs further blocks.
    explicit EventBuilder(std::size_t fields = 12)
        : m_fields(fields)
    {
    }
    /// With the fields of `event`, copied without recursion.
    explicit EventBuilder(const Dictionary& event);

    /// Takes the fields; the other is empty afterwards.
    EventBuilder(EventBuilder&&) noexcept = default;
    /// The same.
    EventBuilder& operator=(EventBuilder&&) noexcept = default;

    /// Sets a field, which keeps its place if there is one of that key. EventValue.h says what
    /// `value` may be: besides numbers and texts also enums, optionals, ranges and maps. An absent
    /// optional sets nothing: the key is left out, or keeps the value that it has. A null pointer
    /// to a text sets null. A container is copied, however deep it is. The memory of a replaced
    /// value is given back with the event.
    template<typename T> EventBuilder& set(std::string_view key, const T& value)
    {
        if constexpr (detail::isContainer<T>)
            setCopy(key, value);
        else if constexpr (!detail::isEventValue<T>())
            detail::refuseAsEventValue<T>();
        else if constexpr (detail::isOptional<T>)
            setIfPresent(key, value);
        else
            detail::setField(detail::fieldsOf(*this), key, value);
        return *this;
    }

private:
    friend Value& detail::eventOf(EventBuilder& builder);
    friend std::size_t detail::bytesOf(const EventBuilder& builder);

    template<typename T> void setIfPresent(std::string_view key, const std::optional<T>& value)
    {
        if (value)
            set(key, *value);
    }
    void setCopy(std::string_view key, const Value& value);
    void setCopy(std::string_view key, const Dictionary& dictionary);
    void setCopy(std::string_view key, const Array& array);

    std::unique_ptr<detail::EventMemory, detail::EventMemoryDeleter> m_memory;
    std::size_t m_fields = 0;
};

} // namespace telvora
