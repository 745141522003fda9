#pragma once

#include <cstdint>
#include <optional>

namespace telvora {

/// The main screen as the host's toolkit knows it. It replaces the kernel's description, because
/// the kernel does not know scaling, rotation or the user's choice of the main screen.
struct MainScreen {
    /// Width and height in points.
    double widthPoints = 0;
    /// The same.
    double heightPoints = 0;
    /// Pixels per point.
    double scale = 1;
    /// Absent: not known.
    std::optional<std::int64_t> pixelsPerInch;
};

} // namespace telvora
