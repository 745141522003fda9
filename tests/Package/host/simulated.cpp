#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <Telvora/Telvora.h>

#include <memory>

// What a host's own test does: an event reaches a simulated collector.
int main()
{
    static auto& simulated = *new telvora::SimulatedPlatform;
    telvora::installPlatform(simulated.services());
    simulated.httpClient().setAnswers({ telvora::ScriptedAnswer::body(R"({"success": true})") });

    auto& manager = telvora::TrackerManager::shared();
    manager.register_(std::make_shared<telvora::TrackerConfig>("Orders", 1,
        telvora::StringDictionary(), telvora::Array(), false,
        [] { return std::string("http://collector.example/orders"); }));
    manager.appendTracker({ { "name", "order.submit" } }, "Orders");
    simulated.runUntilIdle();

    const auto ledger = manager.ledger("Orders");
    return ledger && ledger->events.delivered == 1 ? 0 : 1;
}
