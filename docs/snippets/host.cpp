// [host]
#include <Telvora/StartTelvora.h>

#include <chrono>
#include <iostream>

using namespace telvora;
using namespace std::chrono_literals;

bool startTelemetry(const std::string& collector)
{
    constexpr auto standard = StandardData::standard;
    const StartResult result = startTelvora(
        {
            .channels = {
                { .index = "APM", .url = collector + "/APM", .standardData = standard },
                { .index = "MP", .url = collector + "/MP", .standardData = standard },
                { .index = "E2E", .url = collector + "/E2E", .standardData = standard },
                { .index = "Sentry", .url = collector + "/Sentry", .standardData = standard },
            },
            .identifier = [] { return "installation-42"; },
        },
        { .applicationVersion = "1.4.2", .applicationIdentifier = "com.example.trading" });
    std::cerr << result.text(); // what is wrong, one sentence a line
    return result.isStarted;
}

void submitOrder()
{
    TrackerManager& manager = TrackerManager::shared();
    manager.enrollE2ETrack({ { "name", "order.submit" }, { "ms", 12.5 } });
    manager.enrollSlowFrameTrack({ .slow = 48ms, .total = 1s, .page = "TradeViewController" });
}
// [host]

#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

// [builder]
enum class Side { buy, sell };

std::string_view rawValue(Side side)
{
    return side == Side::buy ? "buy" : "sell";
}

void showQuote(Side side, const std::vector<double>& prices, std::optional<std::string> note)
{
    EventBuilder event(4);
    event.set("name", "quote.shown").set("side", side).set("prices", prices).set("note", note);
    TrackerManager::shared().enrollMPTrack(std::move(event));
}
// [builder]

// Runs after main(). Whether anybody listens is left open; the events have been taken in.
struct Check {
    ~Check()
    {
        for (const char* index : { "E2E", "MP", "APM" }) {
            if (TrackerManager::shared().ledger(index)->events.accepted != 1)
                std::_Exit(1);
        }
    }
} const s_check;

// [main]
int main()
{
    if (!startTelemetry("http://127.0.0.1:9100"))
        return 1;
    submitOrder();
    showQuote(Side::buy, { 104.25, 104.5 }, std::nullopt);
    // Delivers what is pending, and waits two seconds at most.
    TrackerManager::shutdown(2s);
}
// [main]
