#pragma once

#include <cstdint>
#include <optional>

namespace telvora {

/// The main screen as the host's toolkit knows it. It replaces the kernel's description, because
/// the kernel does not know scaling, rotation or the user's choice of the main screen. It does so
/// as a whole: a member that is left out is reported as its default, also a width or a height of 0.
struct MainScreen {
    /// Width in points.
    double widthPoints = 0;
    /// Height in points.
    double heightPoints = 0;
    /// Pixels per point; 1 if it is not known.
    double scale = 1;
    /// Absent: not known.
    std::optional<std::int64_t> pixelsPerInch;
};

} // namespace telvora
