#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Start/StartTelvora.h>

namespace telvora {

/// startTelvora() on a LinuxPlatform of these options, which it makes, installs and never destroys.
/// A host that needs the platform itself (its screens, its telephony) makes one and hands over its
/// services() instead. Where something is wrong no platform is made.
TELVORA_EXPORT StartResult startTelvora(
    TelvoraOptions options, LinuxPlatformOptions platformOptions = {}) noexcept;

} // namespace telvora
