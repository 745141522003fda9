#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// Whether `text` is the text of an address at all, fetchable or not: "mailto:x@y" and "/path"
/// are, "", "http://a b/" and "http://[::1" are not. Every HTTPClient answers canParse() with
/// this, so that a twin stops a host over the same addresses as the real client.
///
/// Threads: any. Failure: none. Defined in the folder of the system the library was built for.
TELVORA_EXPORT bool isAddressText(const std::string& text);

} // namespace telvora
