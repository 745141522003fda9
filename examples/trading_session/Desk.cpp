#include "Desk.h"

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>

#include <chrono>

using namespace std::chrono_literals;
using telvora::Dictionary;
using telvora::TrackerManager;

namespace {

// A reserved port, on which no server listens.
constexpr auto deadAddress = "http://127.0.0.1:1";

constexpr std::array pages { "LoginViewController", "MarketsViewController", "TradeViewController",
    "OrdersViewController", "WalletViewController" };

std::size_t positionOf(const std::string& index)
{
    std::size_t position = 0;
    while (channels[position].index != index)
        ++position;
    return position;
}

} // namespace

Desk::Desk(std::string collector, Navigator& navigator, bool hasProvider)
    : m_collector(std::move(collector))
    , m_hasProvider(hasProvider)
    , m_navigator(navigator)
{
    TrackerManager& manager = TrackerManager::shared();
    manager.setMode(telvora::TrackerMode::release);
    manager.setQvxUuid([] { return std::optional<std::string>("demo-installation"); });
    for (std::size_t position = 0; position < channels.size(); ++position) {
        const Channel& channel = channels[position];
        const auto url = [this, position] {
            const bool isLost = m_lostUploads[position].fetch_sub(1) > 0;
            return (isLost ? deadAddress : m_collector) + channels[position].path;
        };
        manager.register_(std::make_shared<telvora::TrackerConfig>(channel.index, channel.maxLimit,
            telvora::StringDictionary(), telvora::Array(), false, url));
    }
    manager.setupCommonE2EDatas();
    manager.setupCommonMPDatas();
    manager.setupCommonSentryDatas(true, false);
    manager.setupCommonVendelDatas();

    TrackerManager::start();
    telvora::TrackerDataExcavator::initial();
    telvora::TrackerDataLifeCycleMonitor::setup();

    manager.enrollLaunchTrack(
        { { "fp", 84 }, { "fcp", 120 }, { "dcl", 61 }, { "ct", 310 }, { "at", 12 }, { "ht", 7 },
            { "fpt", 95 }, { "d", telvora::TrackerDataExcavator::startTimestamp() } });
    count("APM");
    for (int trader = 0; trader < 3; ++trader)
        m_traders.emplace_back([this, trader](std::stop_token stop) { trade(stop, trader); });
}

void Desk::close()
{
    for (auto& trader : m_traders)
        trader.request_stop();
    resume();
    m_traders.clear();
}

void Desk::loseCollector(int uploads)
{
    for (auto& lost : m_lostUploads)
        lost.store(uploads);
}

void Desk::turnPage()
{
    const std::string page = pages[m_page++ % pages.size()];
    m_navigator.show(page);
    TrackerManager& manager = TrackerManager::shared();
    manager.enrollPageViewTrack(page);
    manager.enrollFirstFrameTrack({ .time = 12340us, .page = page });
    manager.enrollLCPTrack({ .init = 18ms,
        .render = 42ms,
        .request = 120ms,
        .firstFrame = 61ms,
        .total = 241ms,
        .page = page });
    for (int report = 0; report < 3; ++report)
        count("APM");
}

void Desk::measure()
{
    TrackerManager& manager = TrackerManager::shared();
    manager.enrollSlowFrameTrack({ .slow = 48ms, .total = 1s, .page = "TradeViewController" });
    manager.enrollFrozenFrameTrack({ .frozen = 750ms, .total = 1s, .page = "TradeViewController" });
    manager.enrollSkarnTrack("0 main\n1 OrderBook::redraw\n2 Chart::layout", "cpu=93%");
    Dictionary frames;
    frames["t"] = "FPS";
    frames["ct"] = 58;
    frames["cs"] = "chart";
    manager.reportAPMDict(std::move(frames));
    for (int report = 0; report < 4; ++report)
        count("APM");
}

void Desk::reportError(const std::string& name)
{
    Dictionary event;
    event["name"] = name;
    event["level"] = "error";
    TrackerManager::shared().enrollSentryTrack(std::move(event), false);
    count("Sentry");
}

std::int64_t Desk::handedOver(const std::string& index) const
{
    if (m_hasProvider && index == "APM")
        return 0;
    return m_handedOver[positionOf(index)].load();
}

std::int64_t Desk::reported() const
{
    return m_handedOver[positionOf("APM")].load();
}

void Desk::trade(std::stop_token stop, int trader)
{
    TrackerManager& manager = TrackerManager::shared();
    for (int order = 0; !stop.stop_requested(); ++order) {
        {
            std::shared_lock lock(m_mutex);
            if (stop.stop_requested())
                return;
            Dictionary event;
            event["name"] = order % 2 == 0 ? "order.submit" : "order.filled";
            event["trader"] = trader;
            event["order"] = order;
            event["ms"] = 12.5 + order % 7;
            if (order % 3 == 2) {
                manager.enrollMPTrack(std::move(event));
                count("MP");
            } else {
                manager.enrollE2ETrack(std::move(event));
                count("E2E");
            }
            if (order % 10 == 9)
                reportError("order.rejected");
        }
        std::this_thread::sleep_for(15ms);
    }
}

void Desk::count(const std::string& index)
{
    ++m_handedOver[positionOf(index)];
}
