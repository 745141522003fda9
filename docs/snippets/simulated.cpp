#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <Telvora/Telvora.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

using namespace telvora;
using namespace std::chrono_literals;

namespace {

int s_failures = 0;

void expect(bool holds, const char* what)
{
    if (holds)
        return;
    std::cerr << "failed: " << what << '\n';
    ++s_failures;
}

} // namespace

// The code under test: whatever the host does with the library.
void tradeAndReport()
{
    TrackerManager& manager = TrackerManager::shared();
    manager.register_(std::make_shared<TrackerConfig>("E2E", 20, StringDictionary(), Array(), false,
        [] { return std::string("https://collector.example/e2e"); }));
    TrackerManager::start();
    manager.enrollE2ETrack({ { "name", "order.submit" }, { "ms", 12.5 } });
}

int main()
{
    // [simulated]
    SimulatedPlatform simulated;
    installPlatform(simulated.services());
    simulated.reachability().setConnection(ScriptedReachability::Value::cellular);
    simulated.httpClient().setAnswers({
        ScriptedAnswer::error("The network is down"),
        ScriptedAnswer::body(R"({"success": true})").after(2s),
    });

    tradeAndReport();

    simulated.advance(60s); // the first tick sends the batch, and the network is down
    expect(simulated.httpClient().requestCount() == 1, "one request after one minute");
    expect(TrackerManager::shared().ledger("E2E")->batches.waiting == 1, "the batch waits");

    simulated.advance(60s); // the second tick tries again
    simulated.advance(2s);
    expect(TrackerManager::shared().ledger("E2E")->events.delivered == 1, "delivered");
    expect(simulated.httpClient().requests()[0].body == simulated.httpClient().requests()[1].body,
        "the very batch that failed");
    // [simulated]
    return s_failures == 0 ? 0 : 1;
}
