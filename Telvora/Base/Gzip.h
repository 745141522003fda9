#pragma once

#include <Telvora/Base/Export.h>

#include <optional>
#include <string>
#include <string_view>

namespace telvora::detail {

/// The bytes in the gzip format (RFC 1952), at the fastest level: events repeat their keys, so even
/// that makes a batch a quarter as long. Throws std::bad_alloc.
TELVORA_EXPORT std::string gzipped(std::string_view bytes);

/// The bytes that were compressed, however many; absent if `compressed` is not one whole gzip
/// member. Throws std::bad_alloc.
TELVORA_EXPORT std::optional<std::string> gunzipped(std::string_view compressed);

} // namespace telvora::detail
