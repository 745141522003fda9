#pragma once

#include <Telvora/Base/Export.h>

#include <cstdint>
#include <optional>
#include <string>

namespace telvora {

/// A rectangle in points; empty unless set.
struct Rectangle {
    /// The left edge.
    double x = 0;
    /// The upper edge.
    double y = 0;
    /// From the left edge to the right one.
    double width = 0;
    /// From the upper edge to the lower one.
    double height = 0;
};

/// What kind of device the user holds.
enum class UserInterfaceIdiom {
    /// A telephone.
    phone,
    /// A tablet.
    pad,
    /// Any other, or not known.
    other,
};

/// The machine on which the application runs.
///
/// Used by TrackerDataExcavator (the device's fields of each batch), TrackerNetwork (the system
/// version of a header) and TrackNetworkStatus (whether the device can use 5G).
///
/// Threads: any. Reading a value may cost a file read; the library caches values that cannot
/// change. Failure: none; a value that is not known is neutral.
///
/// Implementations: Linux/Machine/LinuxDevice (below a root prefix), Simulated/ScriptedDevice.
class TELVORA_EXPORT Device {
public:
    virtual ~Device() = default;

    /// The model's name as users know it: "iPhone 12".
    virtual std::string safeDescription() const = 0;
    /// The model as the maker writes it: "iPhone13,2".
    virtual std::string identifier() const = 0;
    /// Pixels per inch of the main screen; absent when the model is not known.
    virtual std::optional<std::int64_t> ppi() const = 0;

    /// The version of the system: "15.0".
    virtual std::string systemVersion() const = 0;
    /// Whether the system's version is `major`.`minor` or newer.
    virtual bool isSystemVersionAtLeast(int major, int minor) const = 0;
    /// `other` if the kind of device is not known.
    virtual UserInterfaceIdiom userInterfaceIdiom() const = 0;

    /// The main screen in points; zero by zero if there is none.
    virtual Rectangle screenBounds() const = 0;
    /// Pixels per point of the main screen; 1 if it is not known.
    virtual double screenScale() const = 0;

    /// How many processors the process may use, at least 1.
    virtual std::int64_t activeProcessorCount() const = 0;
};

} // namespace telvora
