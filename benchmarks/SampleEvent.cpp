#include <benchmarks/SampleEvent.h>

#include <cstdlib>
#include <iostream>

namespace telvora {

Dictionary makeSampleEvent(int number)
{
    Dictionary event;
    event.reserve(12);
    event.emplace("name", "order.submit");
    event.emplace("page", "TradeViewController");
    event.emplace("symbol", "QVX-2041.XHKG");
    event.emplace("side", "buy");
    event.emplace("quantity", 1'000'000 + number % 1'000'000);
    event.emplace("price", 104.25);
    event.emplace("session", "0F3C9A52-7B1E-4D68-A0C4-5E2B9D7F1A36");
    event.emplace("time", 1'760'000'000 + number);
    event.emplace("confirmed", true);
    event.emplace("trace", "4bf92f3577b34da6a3ce929d0e0e4736-01");
    return event;
}

EventBuilder buildSampleEvent(int number)
{
    EventBuilder event(10);
    event.set("name", "order.submit");
    event.set("page", "TradeViewController");
    event.set("symbol", "QVX-2041.XHKG");
    event.set("side", "buy");
    event.set("quantity", 1'000'000 + number % 1'000'000);
    event.set("price", 104.25);
    event.set("session", "0F3C9A52-7B1E-4D68-A0C4-5E2B9D7F1A36");
    event.set("time", 1'760'000'000 + number);
    event.set("confirmed", true);
    event.set("trace", "4bf92f3577b34da6a3ce929d0e0e4736-01");
    return event;
}

Dictionary makeSampleCommonData()
{
    Dictionary common;
    common["buid"] = "installation-42";
    common["session"] = "7C2E5B1D-93A4-4F06-8D17-2B6E0C9F4A58";
    common["model"] = "Workstation";
    common["version"] = "1.4.2";
    return common;
}

void checkSampleEvent()
{
    for (const int number : { 0, 1, 999'999, 20'000'000 }) {
        const std::size_t bytes = encode(makeSampleEvent(number)).value().size();
        if (bytes != sampleEventBytes) {
            std::cerr << "The sample event has " << bytes << " bytes\n";
            std::exit(1);
        }
        EventBuilder built = buildSampleEvent(number);
        if (detail::fieldsOf(built) != makeSampleEvent(number)) {
            std::cerr << "The built sample event is another one\n";
            std::exit(1);
        }
    }
}

} // namespace telvora
