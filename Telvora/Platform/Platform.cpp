#include <Telvora/Platform/Platform.h>

#include <Telvora/Base/Fatal.h>

#include <atomic>

namespace telvora {

namespace {

// Written once and then only read, by every thread and on every event.
std::atomic<Platform*> s_platform { nullptr };

} // namespace

void installPlatform(Platform& set)
{
    Platform* none = nullptr;
    if (!s_platform.compare_exchange_strong(none, &set))
        fatal("A platform is in use already", "Platform");
}

Platform& platform()
{
    if (Platform* set = s_platform.load(std::memory_order_acquire))
        return *set;
    Platform* none = nullptr;
    Platform& system = systemPlatform();
    return s_platform.compare_exchange_strong(none, &system) ? system : *none;
}

} // namespace telvora
