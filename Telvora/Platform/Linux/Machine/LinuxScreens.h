#pragma once

#include <Telvora/Platform/Linux/Machine/SystemFiles.h>

#include <cstdint>
#include <optional>

namespace telvora::detail {

/// The visible area of a screen in millimetres.
struct PhysicalSize {
    int widthMillimetres = 0;
    int heightMillimetres = 0;
};

/// The size in a screen's own description (EDID 1.x, base block): that of the first detailed
/// timing, else the one in centimetres. Absent when the block is damaged or the screen has no size,
/// such as a projector.
std::optional<PhysicalSize> sizeInEDID(std::string_view edid);

/// A screen that is connected, as the kernel's graphics drivers describe it.
struct ConnectedScreen {
    std::int64_t widthPixels = 0;
    std::int64_t heightPixels = 0;
    std::optional<PhysicalSize> size;
};

/// The main one of the connected screens: a built-in panel before everything else, then in the
/// kernel's own order. Absent on a machine without screens.
std::optional<ConnectedScreen> mainScreen(const SystemFiles& files);

/// Pixels per inch along the diagonal; absent when the size is not known or plainly wrong (some
/// screens give an aspect ratio for it).
std::optional<std::int64_t> pixelsPerInch(const ConnectedScreen& screen);

} // namespace telvora::detail
