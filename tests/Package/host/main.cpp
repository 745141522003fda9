#include <Telvora/Platform/Clock.h>
#include <Telvora/Telvora.h>

#include <cstdio>
#include <memory>

/// Registers a channel and hands over an event on the real platform.
int main()
{
    static_assert(TELVORA_VERSION >= 100);

    auto& manager = telvora::TrackerManager::shared();
    manager.register_(std::make_shared<telvora::TrackerConfig>("Orders", 50));
    telvora::Dictionary event { { "name", "package.tried" } };
    const auto text = telvora::encode(event);
    manager.appendTracker(std::move(event), "Orders");

    std::printf("Telvora %s %s\n", TELVORA_VERSION_TEXT, text.value_or("").c_str());
    const bool isKnown = manager.ledger("Orders").has_value();
    const bool ticks = telvora::platform().clock.secondsSince1970() > 0;
    return isKnown && ticks && text == R"({"name":"package.tried"})" ? 0 : 1;
}
