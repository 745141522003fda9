#include <Telvora/Platform/Platform.h>

#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/ProcessValue.h>

// Null in a program that links only the core.
#pragma weak telvoraDefaultPlatform

namespace telvora {

namespace {

// Written once, but for tests. Every thread reads it, for every event.
constinit detail::ProcessValue<Platform*> s_platform { nullptr };

} // namespace

void installPlatform(Platform& set)
{
    Platform* none = nullptr;
    if (!s_platform.change().compare_exchange_strong(none, &set))
        detail::fatal("A platform is in use already", "Platform");
}

Platform* detail::usedPlatform() noexcept
{
    return s_platform->load(std::memory_order_acquire);
}

bool detail::tryInstallPlatform(Platform& set) noexcept
{
    Platform* used = nullptr;
    return s_platform.change().compare_exchange_strong(used, &set) || used == &set;
}

Platform& platform()
{
    if (Platform* set = s_platform->load(std::memory_order_acquire))
        return *set;
    if (!telvoraDefaultPlatform) {
        detail::fatal(
            "No platform is installed: link Telvora::telvora, or call installPlatform() first, and "
            "again after takeDown()",
            "Platform");
    }
    Platform* none = nullptr;
    Platform* byDefault = telvoraDefaultPlatform();
    return s_platform.change().compare_exchange_strong(none, byDefault) ? *byDefault : *none;
}

bool detail::isInstalled(const Platform& set)
{
    return s_platform->load(std::memory_order_acquire) == &set;
}

} // namespace telvora
