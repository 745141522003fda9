#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/HTTPClient.h>

#include <chrono>
#include <optional>
#include <string_view>

namespace telvora::detail {

/// How long the collector asks to wait: the header "Retry-After" of an answer with status 429 or
/// 503, in seconds or as a date (RFC 9110, sections 10.2.3 and 5.6.7), counted from `now`, seconds
/// since 1970. Absent without such a header, where it cannot be read, or is past.
TELVORA_EXPORT std::optional<std::chrono::duration<double>> retryAfter(
    const HTTPAnswer& answer, double now);

} // namespace telvora::detail
