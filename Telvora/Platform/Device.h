#pragma once

#include <Telvora/Base/Export.h>

#include <cstdint>
#include <optional>
#include <string>

namespace telvora {

/// A rectangle in points.
struct Rectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// What kind of device the user holds.
enum class UserInterfaceIdiom {
    phone,
    pad,
    other,
};

/// The machine the application runs on.
///
/// Threads: any. Values may cost a file read; the library keeps those that cannot change.
/// Failure: none; an implementation that does not know answers with its neutral value.
///
/// Implementations: Linux/Machine/LinuxDevice (below a root prefix), Simulated/ScriptedDevice.
class TELVORA_EXPORT Device {
public:
    virtual ~Device() = default;

    /// The model in words, for people: "iPhone 12".
    virtual std::string safeDescription() const = 0;
    /// The model as the maker writes it: "iPhone13,2".
    virtual std::string identifier() const = 0;
    /// Pixels per inch of the main screen; absent when the model is not known.
    virtual std::optional<std::int64_t> ppi() const = 0;

    virtual std::string systemVersion() const = 0;
    virtual bool isSystemVersionAtLeast(int major, int minor) const = 0;
    virtual UserInterfaceIdiom userInterfaceIdiom() const = 0;

    /// The main screen, in points; zero by zero without one.
    virtual Rectangle screenBounds() const = 0;
    /// Pixels a point.
    virtual double screenScale() const = 0;

    virtual std::int64_t activeProcessorCount() const = 0;
};

} // namespace telvora
