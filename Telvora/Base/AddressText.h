#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

namespace telvora {

/// Whether `text` is the text of an address at all, fetchable or not: "http://a.b/c", "mailto:x@y"
/// and "/path" are; "", "http://a b/", "http://[::1" and "http://a:99999/" are not. A channel's
/// address is checked with this before every request, on every platform alike.
///
/// Lenient, as people write addresses: RFC 3986 without its rule that every byte beyond ASCII is
/// escaped, and with up to three slashes after the scheme.
///
/// Threads: any. Failure: none.
TELVORA_EXPORT bool isAddressText(std::string_view text);

} // namespace telvora
