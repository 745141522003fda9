#pragma once

#include <Telvora/Base/Dictionary.h>

#include <cstddef>
#include <string_view>

namespace telvora::detail {

/// decode() for JSON in UTF-8, UTF-16 or UTF-32, in either byte order, with or without a byte order
/// mark. Without a mark, the zeros among the first four bytes tell the encoding (RFC 4627,
/// section 3). Bytes that are not well-formed in that encoding are an error, as in decode().
TELVORA_EXPORT Decoded decodeBytes(std::string_view bytes, std::size_t levels = 512);

} // namespace telvora::detail
