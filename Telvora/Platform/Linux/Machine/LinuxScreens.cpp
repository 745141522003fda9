#include <Telvora/Platform/Linux/Machine/LinuxScreens.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace telvora::detail {

namespace {

const std::string graphicsFolder = "/sys/class/drm/";

/// "1920x1080", with whatever the driver appends to it.
std::optional<std::pair<std::int64_t, std::int64_t>> parsedMode(std::string_view text)
{
    std::pair<std::int64_t, std::int64_t> mode;
    const char* const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, mode.first);
    if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x')
        return std::nullopt;
    const auto height = std::from_chars(width.ptr + 1, end, mode.second);
    if (height.ec != std::errc() || mode.first <= 0 || mode.second <= 0)
        return std::nullopt;
    return mode;
}

bool isBuiltIn(std::string_view connector)
{
    static constexpr std::array<std::string_view, 4> kinds { "-eDP-", "-LVDS-", "-DSI-", "-DPI-" };

    return std::ranges::any_of(kinds,
        [&](std::string_view kind) { return connector.find(kind) != std::string_view::npos; });
}

std::optional<ConnectedScreen> screenAt(const SystemFiles& files, const std::string& connector)
{
    const std::string folder = graphicsFolder + connector;
    if (files.firstLine(folder + "/status") != "connected")
        return std::nullopt;
    const auto mode = parsedMode(files.firstLine(folder + "/modes").value_or(""));
    if (!mode)
        return std::nullopt;

    ConnectedScreen screen { mode->first, mode->second, std::nullopt };
    if (const auto edid = files.contents(folder + "/edid"))
        screen.size = sizeInEDID(*edid);
    return screen;
}

} // namespace

std::optional<PhysicalSize> sizeInEDID(std::string_view edid)
{
    static constexpr std::size_t blockSize = 128;
    static constexpr std::array<unsigned char, 8> header { 0, 255, 255, 255, 255, 255, 255, 0 };
    static constexpr std::size_t centimetres = 21;
    static constexpr std::size_t timing = 54;

    if (edid.size() < blockSize)
        return std::nullopt;
    const auto byte = [&](std::size_t index) {
        return static_cast<int>(static_cast<unsigned char>(edid[index]));
    };
    int sum = 0;
    for (std::size_t index = 0; index < blockSize; ++index) {
        if (index < header.size() && byte(index) != header[index])
            return std::nullopt;
        sum += byte(index);
    }
    if (sum % 256 != 0)
        return std::nullopt;

    // A descriptor without a pixel clock is not a timing.
    if (byte(timing) != 0 || byte(timing + 1) != 0) {
        const int high = byte(timing + 14);
        const PhysicalSize size { byte(timing + 12) | (high & 0xF0) << 4,
            byte(timing + 13) | (high & 0x0F) << 8 };
        if (size.widthMillimetres > 0 && size.heightMillimetres > 0)
            return size;
    }
    // One of the two alone is an aspect ratio.
    const PhysicalSize size { byte(centimetres) * 10, byte(centimetres + 1) * 10 };
    if (size.widthMillimetres > 0 && size.heightMillimetres > 0)
        return size;
    return std::nullopt;
}

std::optional<ConnectedScreen> mainScreen(const SystemFiles& files)
{
    const auto connectors = files.namesIn(graphicsFolder);
    for (const bool mustBeBuiltIn : { true, false }) {
        for (const std::string& connector : connectors) {
            if (isBuiltIn(connector) != mustBeBuiltIn)
                continue;
            if (auto screen = screenAt(files, connector))
                return screen;
        }
    }
    return std::nullopt;
}

std::optional<std::int64_t> pixelsPerInch(const ConnectedScreen& screen)
{
    static constexpr double millimetresPerInch = 25.4;
    static constexpr double leastPlausible = 20;
    static constexpr double mostPlausible = 2000;

    if (!screen.size)
        return std::nullopt;
    const double pixels = std::hypot(
        static_cast<double>(screen.widthPixels), static_cast<double>(screen.heightPixels));
    const double inches = std::hypot(screen.size->widthMillimetres, screen.size->heightMillimetres)
        / millimetresPerInch;
    const double density = pixels / inches;
    if (!(density >= leastPlausible && density <= mostPlausible))
        return std::nullopt;
    return std::llround(density);
}

} // namespace telvora::detail
