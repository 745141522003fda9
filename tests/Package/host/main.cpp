#include <Telvora/Platform/Clock.h>
#include <Telvora/StartTelvora.h>

#include <cstdio>
#include <memory>

// Starts on the real platform, registers another channel and hands over an event.
int main()
{
    static_assert(TELVORA_VERSION >= 100);

    const auto start
        = telvora::startTelvora({ .channels = { { .index = "E2E", .url = "http://127.0.0.1:1" } } },
            { .applicationVersion = "1.4.2" });
    auto& manager = telvora::TrackerManager::shared();
    const auto config = std::make_shared<telvora::TrackerConfig>("Orders", 50);
    manager.register_(config);
    telvora::Dictionary event { { "name", "package.tried" } };
    const auto text = telvora::encode(event);
    manager.appendTracker(std::move(event), "Orders");
    qvxLogWithLevel(1, "goes nowhere without a service");

    std::printf("Telvora %s %s\n", TELVORA_VERSION_TEXT, text.value_or("").c_str());
    const bool isKnown = manager.ledger("Orders").has_value();
    const bool isInOrder = config->ledger().hostExceptions == 0;
    const bool ticks = telvora::platform().clock.secondsSince1970() > 0;
    return start && isKnown && isInOrder && ticks && text == R"({"name":"package.tried"})" ? 0 : 1;
}
