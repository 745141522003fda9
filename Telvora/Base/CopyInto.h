#pragma once

#include <Telvora/Base/Dictionary.h>

namespace telvora::detail {

/// Puts a deep copy of `from` into `to`, in the memory that `to` uses, without recursion. What `to`
/// was is not disposed of: it must not be deep. Throws std::bad_alloc and leaves `to` half filled.
void copyInto(const Value& from, Value& to);
void copyInto(const Array& from, Value& to);
void copyInto(const Dictionary& from, Value& to);

/// Adds copies of the members of `from`, which must have other keys than those of `to`.
void copyInto(const Dictionary& from, Dictionary& to);

} // namespace telvora::detail
