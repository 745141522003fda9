#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/ScreenHierarchy.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace telvora {

/// Values of the device, the application and the page on top; all of them static.
///
/// Life: a value of the first group is computed by its first reader and kept for the life of the
/// process, so that a carrier change or a rotation is not seen. The others are read each time. Only
/// the host calls initial(). The library itself calls no setter of a kept value.
///
/// Threads: any. The first reader of a kept value computes it on its own thread, while others wait;
/// later reads take no lock. Each value of the page has its own lock, held for one access.
/// Deliberate: a test followed by a set is two accesses.
///
/// Failure: none; each getter names its fallback.
class TELVORA_EXPORT TrackerDataExcavator {
public:
    /// A list that is replaced and never changed, so that a walk over it costs no copy.
    using WhiteList = std::shared_ptr<const std::vector<std::string>>;
    /// Parameters that are replaced and never changed.
    using PageParameters = std::shared_ptr<const StringDictionary>;

    /// The only instance; it has no state of its own.
    static TrackerDataExcavator& one();

    /// Computes the kept values now, so that no later call has to. Sets startTimestamp() to this
    /// moment. A second call does nothing.
    static void initial();

    // Computed once and kept.

    /// The model of the device as people name it, such as "iPhone 14 Pro".
    static std::string mobileName();
    /// The same text as mobileName(); absent only when the host sets it so.
    static std::optional<std::string> modelName();
    /// The version as the system gives it, such as "17.2"; absent only when the host sets it so.
    static std::optional<std::string> systemVersion();
    /// The application's version; absent when the bundle has none, or none that is a string.
    static std::optional<std::string> appVersion();
    /// Width and height of the main screen in pixels: "1170.0*2532.0".
    static std::string screenResolution();
    /// Pixels per inch; -1 when the model is not known.
    static std::int64_t screenPpi();
    /// Width and height of the main screen in points: "390.0*844.0".
    static std::string screenSize();
    /// Whether the device shows signs of a modified system.
    /// Deliberate: the last probe tries to write a file, and leaves that file behind.
    static bool jailbreaked();
    /// The name of the mobile operator (carrier); "None" without one, and for one without a country
    /// code.
    static std::string mobileOperator();
    /// The time of its first reading, in seconds since 1970, with fraction.
    static double startTimestamp();

    // Each replaces the kept value for the rest of the process, in the form and unit of its getter.
    // For the host. Nothing is checked.

    /// Replaces mobileName().
    static void setMobileName(std::string value);
    /// Replaces modelName().
    static void setModelName(std::optional<std::string> value);
    /// Replaces systemVersion().
    static void setSystemVersion(std::optional<std::string> value);
    /// Replaces appVersion().
    static void setAppVersion(std::optional<std::string> value);
    /// Replaces screenResolution().
    static void setScreenResolution(std::string value);
    /// Replaces screenPpi().
    static void setScreenPpi(std::int64_t value);
    /// Replaces screenSize().
    static void setScreenSize(std::string value);
    /// Replaces jailbreaked().
    static void setJailbreaked(bool value);
    /// Replaces mobileOperator().
    static void setMobileOperator(std::string value);
    /// Replaces startTimestamp().
    static void setStartTimestamp(double value);

    // Read each time.

    /// Whole seconds since 1970. A clock whose time does not fit into 64 bits stops the process.
    static std::int64_t timestamp();
    /// How many processors are active.
    static std::int64_t cpuCount();
    /// "WiFi", "Cellular" or "No Connection"; absent when reachability cannot be created.
    /// Deliberate: these are not the words of TrackNetworkStatusType, which the channels use.
    static std::optional<std::string> networkStatus();

    // The page on top.

    /// Screen and parameters of the page on top; absent where none is known.
    static std::optional<ViewControllerInfo> topViewControllerInfo();
    /// Replaces screen and parameters at once; absent: there is no page.
    static void setTopViewControllerInfo(std::optional<ViewControllerInfo> info);
    /// Sets a parameter of the page on top; without a page nothing happens.
    static void addViewControllerInfo(const std::string& key, std::string value);
    /// The parameters of the page on top, without a copy; null without a page.
    static PageParameters topViewControllerParams();

    /// The class name of the screen on top; absent when there is no page, when its screen is
    /// destroyed, and when the screen throws.
    static std::optional<std::string> topViewControllerClassName();

    /// Whether a change of page is under way.
    static bool isTransitioning();
    /// Sets isTransitioning().
    static void setIsTransitioning(bool value);
    /// Whether the end of that change still has to be scheduled.
    static bool isTransitioningControl();
    /// Sets isTransitioningControl().
    static void setIsTransitioningControl(bool value);

    /// Suffixes of scene names. A screen with such a name is the page, whatever other screens it
    /// presents or contains.
    /// Deliberate: ".TradeViewController" is in the default list twice.
    static std::vector<std::string> monitorViewControllerWhiteList();
    /// Replaces the list.
    static void setMonitorViewControllerWhiteList(std::vector<std::string> suffixes);
    /// The same list, without a copy. Never null.
    static WhiteList whiteList();

private:
    TrackerDataExcavator() = default;
};

} // namespace telvora
