#include <tools/host/World.h>

#include <Telvora/Platform/Linux/LinuxPlatform.h>

#include <thread>

namespace telvora::host {

namespace {

using SteadyClock = std::chrono::steady_clock;

SteadyClock::time_point instantAfter(std::chrono::nanoseconds delay)
{
    const auto now = SteadyClock::now();
    return delay < SteadyClock::time_point::max() - now ? now + delay
                                                        : SteadyClock::time_point::max();
}

class LinuxWorld final : public World {
public:
    LinuxWorld() { installPlatform(m_platform.services()); }

    NotificationCenter& notificationCenter() override { return m_platform.notificationCenter(); }

    bool isOnMainThread() const override { return std::this_thread::get_id() == m_mainThread; }

    bool settle(std::chrono::nanoseconds timeout, bool uploads) override
    {
        const auto deadline = instantAfter(timeout);
        do {
            if (!m_platform.dispatch().waitUntilIdle(deadline))
                return false;
            if (!uploads || isIdle())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } while (SteadyClock::now() < deadline);
        return false;
    }

private:
    // An upload that has just ended may have queued a block, and that may have sent another.
    bool isIdle()
    {
        return m_platform.httpClient().inFlight() == 0
            && m_platform.dispatch().waitUntilIdle(SteadyClock::now())
            && m_platform.httpClient().inFlight() == 0;
    }

    const std::thread::id m_mainThread = std::this_thread::get_id();
    LinuxPlatform m_platform;
};

} // namespace

std::unique_ptr<World> makeLinuxWorld()
{
    return std::make_unique<LinuxWorld>();
}

} // namespace telvora::host
