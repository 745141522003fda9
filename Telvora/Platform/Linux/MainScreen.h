#pragma once

#include <cstdint>
#include <optional>

namespace telvora {

/// The main screen as the host's toolkit knows it. It goes before what the kernel says, which knows
/// nothing of scaling, rotation or which screen the user calls the main one.
struct MainScreen {
    double widthPoints = 0;
    double heightPoints = 0;
    /// Pixels a point.
    double scale = 1;
    std::optional<std::int64_t> pixelsPerInch;
};

} // namespace telvora
