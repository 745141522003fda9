#pragma once

namespace telvora {

/// In a sanitizer's build what is measured of memory is the sanitizer's.
#ifdef TELVORA_SANITIZED
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif

} // namespace telvora
