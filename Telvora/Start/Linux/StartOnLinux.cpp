#include <Telvora/Start/Linux/StartOnLinux.h>

#include <memory>
#include <utility>

namespace telvora {

StartResult startTelvora(TelvoraOptions options, LinuxPlatformOptions platformOptions) noexcept
{
    return detail::startTelvora(std::move(options), nullptr, [&]() -> Platform& {
        // Threads of the library use it to the end of the process.
        return std::make_unique<LinuxPlatform>(std::move(platformOptions)).release()->services();
    });
}

} // namespace telvora
