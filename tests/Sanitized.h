#pragma once

namespace telvora {

/// True in a sanitizer's build, where measured memory is mostly that of the sanitizer.
#ifdef TELVORA_SANITIZED
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif

} // namespace telvora
