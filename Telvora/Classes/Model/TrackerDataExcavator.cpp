#include <Telvora/Classes/Model/TrackerDataExcavator.h>

#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/NumberText.h>
#include <Telvora/Base/OnceValue.h>
#include <Telvora/Platform/Application.h>
#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Device.h>
#include <Telvora/Platform/FileManager.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/Reachability.h>
#include <Telvora/Platform/Telephony.h>

#include <array>
#include <cmath>
#include <utility>

namespace telvora {

namespace {

using Excavator = TrackerDataExcavator;
using detail::Guarded;
using detail::OnceValue;

struct Size {
    double width;
    double height;
};

// The page on top. Its parameters are replaced and never changed, so that a report can copy them
// without the lock.
struct Page {
    std::weak_ptr<UIViewController> vc;
    Excavator::PageParameters params;
};

Excavator::WhiteList defaultWhiteList()
{
    return std::make_shared<const std::vector<std::string>>(std::vector<std::string> {
        ".TradeViewController",
        ".QuarterlyMarketsViewController",
        ".PerpetualMarketViewController",
        ".QuarterlyMarketViewController",
        ".FeatureTradeViewController",
        ".OptionsTradeViewController",
        ".TradeViewController",
        ".HorizontalTradeViewController",
        ".MarginTradeViewController",
        ".MarginHorizontalTradeViewController",
        ".FuturesFavoriteMarketsViewController",
        ".MarketsViewController",
        ".MarketsZonesConceptController",
        ".CoinsMarketsViewController",
        ".GridTradeViewController",
        ".FuturesGridTradeViewController",
    });
}

struct Values {
    OnceValue<std::string> mobileName;
    OnceValue<std::optional<std::string>> modelName;
    OnceValue<std::optional<std::string>> systemVersion;
    OnceValue<std::optional<std::string>> appVersion;
    OnceValue<Rectangle> screenRect;
    OnceValue<Size> deviceScreenSize;
    OnceValue<std::string> screenResolution;
    OnceValue<std::int64_t> screenPpi;
    OnceValue<std::string> screenSize;
    OnceValue<bool> jailbreaked;
    OnceValue<std::string> mobileOperator;
    OnceValue<double> startTimestamp;

    Guarded<std::optional<Page>> page;
    Guarded<bool> isTransitioning { false };
    Guarded<bool> isTransitioningControl { false };
    OnceValue<Excavator::WhiteList> defaultWhiteList;
    // Null until a host replaces the default.
    Guarded<Excavator::WhiteList> whiteList;
};

Values& values()
{
    static constinit detail::Lazy<Values> values;
    return values.get([] { return new Values; });
}

std::optional<std::string> readAppVersion()
{
    const auto version = platform().bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
    if (!version || !version->is_string())
        return std::nullopt;
    return std::string(std::string_view(version->get_string()));
}

// Both resolution and size use this one reading, so that they agree when the device is rotated.
Size deviceScreenSize()
{
    return values().deviceScreenSize.get([] {
        const Rectangle rect
            = values().screenRect.get([] { return platform().device.screenBounds(); });
        return Size { rect.width, rect.height };
    });
}

std::string sizeText(double width, double height)
{
    return detail::decimalText(width) + "*" + detail::decimalText(height);
}

bool probeJailbreaked()
{
    static constexpr std::array signs {
        "/Applications/Cydia.app",
        "/Library/MobileSubstrate/MobileSubstrate.dylib",
        "/bin/bash",
        "/usr/sbin/sshd",
        "/etc/apt",
        "/private/var/lib/apt/",
    };
    for (const char* path : signs) {
        if (platform().fileManager.fileExists(path))
            return true;
    }
    if (platform().application.canOpenURL("cydia://package/com.example.package"))
        return true;
    return platform().fileManager.writeAtomically("/private/JailbreakTest.txt", "Jailbreak Test");
}

std::string readMobileOperator()
{
    static constexpr const char* none = "None";
    const auto carriers = platform().telephony.serviceSubscriberCellularProviders();
    if (!carriers || carriers->empty())
        return none;
    // With two SIMs the system's order decides which one is first.
    const Carrier& carrier = carriers->front().second;
    if (!carrier.isoCountryCode)
        return none;
    return carrier.carrierName.value_or(none);
}

} // namespace

TrackerDataExcavator& TrackerDataExcavator::one()
{
    static constinit TrackerDataExcavator one;
    return one;
}

void TrackerDataExcavator::initial()
{
    mobileName();
    systemVersion();
    appVersion();
    modelName();
    screenResolution();
    screenPpi();
    screenSize();
    jailbreaked();
    mobileOperator();
    startTimestamp();
}

std::string TrackerDataExcavator::mobileName()
{
    return values().mobileName.get([] { return platform().device.safeDescription(); });
}

std::optional<std::string> TrackerDataExcavator::modelName()
{
    return values().modelName.get([] { return platform().device.safeDescription(); });
}

std::optional<std::string> TrackerDataExcavator::systemVersion()
{
    return values().systemVersion.get([] { return platform().device.systemVersion(); });
}

std::optional<std::string> TrackerDataExcavator::appVersion()
{
    return values().appVersion.get(readAppVersion);
}

std::string TrackerDataExcavator::screenResolution()
{
    return values().screenResolution.get([] {
        const Size size = deviceScreenSize();
        const double scale = platform().device.screenScale();
        return sizeText(scale * size.width, scale * size.height);
    });
}

std::int64_t TrackerDataExcavator::screenPpi()
{
    return values().screenPpi.get([] { return platform().device.ppi().value_or(-1); });
}

std::string TrackerDataExcavator::screenSize()
{
    return values().screenSize.get([] {
        const Size size = deviceScreenSize();
        return sizeText(size.width, size.height);
    });
}

bool TrackerDataExcavator::jailbreaked()
{
    return values().jailbreaked.get(probeJailbreaked);
}

std::string TrackerDataExcavator::mobileOperator()
{
    return values().mobileOperator.get(readMobileOperator);
}

double TrackerDataExcavator::startTimestamp()
{
    return values().startTimestamp.get([] { return platform().clock.secondsSince1970(); });
}

void TrackerDataExcavator::setMobileName(std::string value)
{
    values().mobileName.set(std::move(value));
}

void TrackerDataExcavator::setModelName(std::optional<std::string> value)
{
    values().modelName.set(std::move(value));
}

void TrackerDataExcavator::setSystemVersion(std::optional<std::string> value)
{
    values().systemVersion.set(std::move(value));
}

void TrackerDataExcavator::setAppVersion(std::optional<std::string> value)
{
    values().appVersion.set(std::move(value));
}

void TrackerDataExcavator::setScreenResolution(std::string value)
{
    values().screenResolution.set(std::move(value));
}

void TrackerDataExcavator::setScreenPpi(std::int64_t value)
{
    values().screenPpi.set(value);
}

void TrackerDataExcavator::setScreenSize(std::string value)
{
    values().screenSize.set(std::move(value));
}

void TrackerDataExcavator::setJailbreaked(bool value)
{
    values().jailbreaked.set(value);
}

void TrackerDataExcavator::setMobileOperator(std::string value)
{
    values().mobileOperator.set(std::move(value));
}

void TrackerDataExcavator::setStartTimestamp(double value)
{
    values().startTimestamp.set(value);
}

std::int64_t TrackerDataExcavator::timestamp()
{
    const double now = platform().clock.secondsSince1970();
    // False for NaN as well.
    if (!(now >= -0x1p63 && now < 0x1p63))
        detail::fatal("The current time is no number of 64 bits", "TrackerDataExcavator");
    return static_cast<std::int64_t>(now);
}

std::int64_t TrackerDataExcavator::cpuCount()
{
    return platform().device.activeProcessorCount();
}

std::optional<std::string> TrackerDataExcavator::networkStatus()
{
    const auto reachability
        = platform().reachability.makeReachability(ReachabilityService::Use::oneReading);
    if (!reachability)
        return std::nullopt;
    switch (reachability->connection()) {
    case Reachability::Connection::none:
        return "No Connection";
    case Reachability::Connection::wifi:
        return "WiFi";
    case Reachability::Connection::cellular:
        break;
    }
    return "Cellular";
}

std::optional<ViewControllerInfo> TrackerDataExcavator::topViewControllerInfo()
{
    const auto page = values().page.get();
    return page ? std::optional(ViewControllerInfo { page->vc, *page->params }) : std::nullopt;
}

void TrackerDataExcavator::setTopViewControllerInfo(std::optional<ViewControllerInfo> info)
{
    std::optional<Page> page;
    if (info) {
        page = Page { std::move(info->vc),
            std::make_shared<const StringDictionary>(std::move(info->params)) };
    }
    values().page.set(std::move(page));
}

void TrackerDataExcavator::addViewControllerInfo(const std::string& key, std::string value)
{
    PageParameters replaced;
    values().page.with([&](std::optional<Page>& page) {
        if (!page)
            return;
        auto params = std::make_shared<StringDictionary>(*page->params);
        params->insert_or_assign(key, std::move(value));
        // The old parameters are destroyed after the lock is released.
        replaced = std::exchange(page->params, std::move(params));
    });
}

TrackerDataExcavator::PageParameters TrackerDataExcavator::topViewControllerParams()
{
    const auto page = values().page.get();
    return page ? page->params : nullptr;
}

std::optional<std::string> TrackerDataExcavator::topViewControllerClassName()
{
    const auto page = values().page.get();
    std::optional<std::string> name;
    const auto ask = [&] {
        // If the host releases the screen meanwhile, its destructor runs here, so it belongs
        // inside.
        if (const auto screen = page ? page->vc.lock() : nullptr)
            name = screen->className();
    };
    detail::callHost(ask, { "A screen" });
    return name;
}

bool TrackerDataExcavator::isTransitioning()
{
    return values().isTransitioning.get();
}

void TrackerDataExcavator::setIsTransitioning(bool value)
{
    values().isTransitioning.set(value);
}

bool TrackerDataExcavator::isTransitioningControl()
{
    return values().isTransitioningControl.get();
}

void TrackerDataExcavator::setIsTransitioningControl(bool value)
{
    values().isTransitioningControl.set(value);
}

std::vector<std::string> TrackerDataExcavator::monitorViewControllerWhiteList()
{
    return *whiteList();
}

void TrackerDataExcavator::setMonitorViewControllerWhiteList(std::vector<std::string> suffixes)
{
    values().whiteList.set(std::make_shared<const std::vector<std::string>>(std::move(suffixes)));
}

TrackerDataExcavator::WhiteList TrackerDataExcavator::whiteList()
{
    if (detail::isForkedChild())
        return std::make_shared<const std::vector<std::string>>();
    const auto list = values().whiteList.get();
    return list ? list : values().defaultWhiteList.get(defaultWhiteList);
}

} // namespace telvora
