#pragma once

#include <Telvora/Base/Export.h>

#include <array>
#include <cstdint>
#include <string>

namespace telvora {

using UUIDBytes = std::array<std::uint8_t, 16>;

/// The canonical 8-4-4-4-12 text in upper case, as our wire has it (RFC 9562 prints lower case
/// and reads both).
TELVORA_EXPORT std::string uuidText(const UUIDBytes& bytes);

/// Sets the six bits that make 16 random bytes a version 4 UUID (RFC 9562, 5.4).
TELVORA_EXPORT UUIDBytes asRandomUUID(UUIDBytes bytes);

} // namespace telvora
