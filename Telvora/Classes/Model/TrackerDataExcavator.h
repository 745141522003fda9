#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace telvora {

/// What is known of the device, the application and the page on top; all of it static.
///
/// Life: what cannot change while the process lives is computed by its first reader and kept; the
/// rest is read anew each time. Nothing is refreshed: a carrier change or a rotation is not seen.
/// Nothing in the library calls initial() or a setter; both are the host's.
///
/// Threads: any. A first reader computes, on whatever thread it runs, and others wait for it; later
/// reads take no lock. Each value of the page has a lock of its own, held for one access; a test
/// followed by a set is two accesses, deliberately.
///
/// Failure: none; what cannot be had has the fallback that its getter names.
class TELVORA_EXPORT TrackerDataExcavator {
public:
    /// A list that is replaced and never changed, so that a walk over it costs no copy.
    using WhiteList = std::shared_ptr<const std::vector<std::string>>;
    /// Parameters that are replaced and never changed.
    using PageParameters = std::shared_ptr<const StringDictionary>;

    /// Carries no state of its own.
    static TrackerDataExcavator& one();

    /// Computes the kept values now, so that no later path pays for the probes. Fixes
    /// startTimestamp to this moment. A second call does nothing.
    static void initial();

    // Computed once and kept.

    /// The model in words.
    static std::string mobileName();
    static std::optional<std::string> modelName();
    static std::optional<std::string> systemVersion();
    /// Absent when the bundle has none, or none that is a string.
    static std::optional<std::string> appVersion();
    /// Pixels: "1170.0*2532.0".
    static std::string screenResolution();
    /// Pixels per inch; -1 when the model is not known.
    static std::int64_t screenPpi();
    /// Points: "390.0*844.0".
    static std::string screenSize();
    /// Whether the device shows signs of a modified system.
    /// Deliberate: the last of the probes leaves its file behind when it can write it.
    static bool jailbreaked();
    /// The carrier's name; "None" without one, and for a carrier without a country code.
    static std::string mobileOperator();
    /// Seconds since 1970 of the first use, with fraction.
    static double startTimestamp();

    static void setMobileName(std::string value);
    static void setModelName(std::optional<std::string> value);
    static void setSystemVersion(std::optional<std::string> value);
    static void setAppVersion(std::optional<std::string> value);
    static void setScreenResolution(std::string value);
    static void setScreenPpi(std::int64_t value);
    static void setScreenSize(std::string value);
    static void setJailbreaked(bool value);
    static void setMobileOperator(std::string value);
    static void setStartTimestamp(double value);

    // Read anew each time.

    /// Whole seconds since 1970. A clock that gives no number of 64 bits stops the process.
    static std::int64_t timestamp();
    static std::int64_t cpuCount();
    /// "WiFi", "Cellular" or "No Connection"; absent when reachability cannot be asked.
    /// Deliberate: other words than the channels use for the same.
    static std::optional<std::string> networkStatus();

    // The page on top.

    static std::optional<ViewControllerInfo> topViewControllerInfo();
    static void setTopViewControllerInfo(std::optional<ViewControllerInfo> info);
    /// Adds a parameter to the page on top; without one nothing happens.
    static void addViewControllerInfo(const std::string& key, std::string value);
    /// Its parameters alone, shared; null without a page.
    static PageParameters topViewControllerParams();

    /// What the live screen of that info calls its class; absent when there is no info, when the
    /// screen is gone, and when asking it throws.
    static std::optional<std::string> topViewControllerClassName();

    /// Whether a change of page is under way.
    static bool isTransitioning();
    static void setIsTransitioning(bool value);
    /// Whether the end of that change still has to be scheduled.
    static bool isTransitioningControl();
    static void setIsTransitioningControl(bool value);

    /// Ends of scene names whose screens are reported as the page whatever they contain.
    /// Deliberate: ".TradeViewController" stands in the default list twice.
    static std::vector<std::string> monitorViewControllerWhiteList();
    static void setMonitorViewControllerWhiteList(std::vector<std::string> suffixes);
    /// The same list, shared.
    static WhiteList whiteList();

private:
    TrackerDataExcavator() = default;
};

} // namespace telvora
