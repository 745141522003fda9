#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Dictionary.h>

#include <type_traits>
#include <utility>

namespace telvora::detail {

/// Whether a value uses the memory that values use unless told otherwise. Other memory belongs to
/// an EventBuilder or to the host, which gives it back without asking for the values in it.
template<typename Any> bool isInUsualMemory(const Any& value)
{
    return *value.storage() == *boost::json::storage_ptr();
}

/// Moves a value if it is in usual memory; otherwise copies it there and disposes of it. Neither
/// recurses. Throws std::bad_alloc, and the value is then as before.
template<typename Any>
requires(!std::is_reference_v<Any>) AnyDepth<Any> takenToUsualMemory(Any&& value)
{
    if (isInUsualMemory(value))
        return AnyDepth<Any>(std::forward<Any>(value));
    AnyDepth<Any> copied(copy(value));
    dispose(std::forward<Any>(value));
    return copied;
}

} // namespace telvora::detail
