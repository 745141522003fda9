#include <Telvora/Start/Linux/StartOnLinux.h>

#include <Telvora/Platform/Curl/CurlOptionsCheck.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

StartResult startTelvora(TelvoraOptions options, LinuxPlatformOptions platformOptions) noexcept
{
    return detail::startTelvora(
        std::move(options), nullptr,
        [&](std::vector<std::string>& problems) {
            detail::addProblemsOf(platformOptions.http, problems);
        },
        [&]() -> Platform& {
            // Threads of the library use it to the end of the process.
            return std::make_unique<LinuxPlatform>(std::move(platformOptions))
                .release()
                ->services();
        });
}

} // namespace telvora
