#include <Telvora/Platform/Linux/Machine/LinuxDevice.h>

#include <Telvora/Base/ASCII.h>
#include <Telvora/Platform/Linux/Machine/LinuxScreens.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <thread>
#include <utility>
#include <vector>

#include <sched.h>
#include <sys/utsname.h>

namespace telvora::detail {

namespace {

constexpr std::string_view osRelease = "/etc/os-release";
constexpr std::string_view vendorOSRelease = "/usr/lib/os-release";

// The placeholders that board makers leave in their tables.
bool isPlaceholder(std::string_view text)
{
    static constexpr std::array<std::string_view, 22> placeholders { "To be filled by O.E.M.",
        "To be filled by O.E.M", "To be filled by OEM", "System Product Name", "System Name",
        "System Version", "System manufacturer", "Default string", "Not Applicable",
        "Not Specified", "Not Available", "O.E.M.", "OEM", "None", "N/A", "NA", "INVALID",
        "Undefined", "Unknown", "All Series", "Type1ProductConfigId", "Product Name" };

    return std::ranges::all_of(
               text, [](char c) { return c == '0' || (!isLetter(c) && !isDigit(c)); })
        || std::ranges::any_of(placeholders,
            [&](std::string_view placeholder) { return equalsIgnoringCase(text, placeholder); });
}

// An entry of the firmware's table; absent when it is a placeholder.
std::optional<std::string> firmwareEntry(const SystemFiles& files, const std::string& name)
{
    auto text = files.firstLine("/sys/class/dmi/id/" + name);
    if (text && isPlaceholder(*text))
        return std::nullopt;
    return text;
}

std::optional<std::string> firmwareModel(const SystemFiles& files)
{
    // This maker's product name is an order number; its product version is the name users know.
    const auto vendor = firmwareEntry(files, "sys_vendor");
    if (vendor && equalsIgnoringCase(*vendor, "LENOVO")) {
        auto version = firmwareEntry(files, "product_version");
        if (version && !equalsIgnoringCase(*version, "Lenovo"))
            return version;
    }
    if (auto name = firmwareEntry(files, "product_name"))
        return name;
    return firmwareEntry(files, "board_name");
}

utsname kernel()
{
    utsname names {};
    ::uname(&names);
    return names;
}

// Removes the number at the start of `text`, and the point after it, and returns the number.
int takeNumber(std::string_view& text)
{
    int number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc() || number < 0) {
        text = {};
        return 0;
    }
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    if (!text.empty() && text.front() == '.')
        text.remove_prefix(1);
    else
        text = {};
    return number;
}

// For the words of machine-info and of the device tree.
UserInterfaceIdiom idiomOfChassis(std::string_view chassis)
{
    if (chassis == "handset")
        return UserInterfaceIdiom::phone;
    if (chassis == "tablet" || chassis == "convertible" || chassis == "detachable")
        return UserInterfaceIdiom::pad;
    return UserInterfaceIdiom::other;
}

// For the numbers of the firmware's table (SMBIOS, "System Enclosure or Chassis Types").
UserInterfaceIdiom idiomOfChassisType(std::string_view type)
{
    if (type == "11")
        return UserInterfaceIdiom::phone;
    if (type == "30" || type == "31" || type == "32")
        return UserInterfaceIdiom::pad;
    return UserInterfaceIdiom::other;
}

} // namespace

LinuxDevice::LinuxDevice(SystemFiles files, std::optional<MainScreen> screen)
    : m_files(std::move(files))
    , m_screen(screen)
{
}

std::string LinuxDevice::safeDescription() const
{
    if (auto model = m_files.firstLine("/proc/device-tree/model"))
        return *model;
    return firmwareModel(m_files).value_or("Linux");
}

std::string LinuxDevice::identifier() const
{
    if (auto compatible = m_files.firstLine("/proc/device-tree/compatible"))
        return *compatible;
    auto product = firmwareEntry(m_files, "product_name");
    if (!product)
        product = firmwareEntry(m_files, "board_name");
    if (!product)
        return kernel().machine;
    const auto vendor = firmwareEntry(m_files, "sys_vendor");
    return vendor ? *vendor + "," + *product : *product;
}

std::optional<std::int64_t> LinuxDevice::ppi() const
{
    if (m_screen)
        return m_screen->pixelsPerInch;
    const auto screen = mainScreen(m_files);
    return screen ? pixelsPerInch(*screen) : std::nullopt;
}

std::string LinuxDevice::systemVersion() const
{
    for (const char* key : { "VERSION_ID", "BUILD_ID" }) {
        for (const std::string_view path : { osRelease, vendorOSRelease }) {
            if (auto version = m_files.assignment(path, key))
                return *version;
        }
    }
    return m_files.firstLine("/proc/sys/kernel/osrelease").value_or(kernel().release);
}

bool LinuxDevice::isSystemVersionAtLeast(int major, int minor) const
{
    const std::string version = systemVersion();
    std::string_view rest = version;
    const int ownMajor = takeNumber(rest);
    const int ownMinor = takeNumber(rest);
    return std::pair(ownMajor, ownMinor) >= std::pair(major, minor);
}

UserInterfaceIdiom LinuxDevice::userInterfaceIdiom() const
{
    // The administrator's file first: its purpose is to correct the other sources.
    auto chassis = m_files.assignment("/etc/machine-info", "CHASSIS");
    if (!chassis)
        chassis = m_files.firstLine("/proc/device-tree/chassis-type");
    if (chassis)
        return idiomOfChassis(*chassis);
    return idiomOfChassisType(m_files.firstLine("/sys/class/dmi/id/chassis_type").value_or(""));
}

Rectangle LinuxDevice::screenBounds() const
{
    if (m_screen)
        return { 0, 0, m_screen->widthPoints, m_screen->heightPoints };
    const auto screen = mainScreen(m_files);
    if (!screen)
        return {};
    return { 0, 0, static_cast<double>(screen->widthPixels),
        static_cast<double>(screen->heightPixels) };
}

double LinuxDevice::screenScale() const
{
    return m_screen ? m_screen->scale : 1;
}

std::int64_t LinuxDevice::activeProcessorCount() const
{
    // The kernel refuses a set smaller than the number of processors it could have.
    static constexpr std::size_t mostProcessors = 1 << 20;

    for (std::size_t processors = CPU_SETSIZE; processors <= mostProcessors; processors *= 2) {
        std::vector<cpu_set_t> set(processors / CPU_SETSIZE);
        const std::size_t size = set.size() * sizeof(cpu_set_t);
        if (::sched_getaffinity(0, size, set.data()) == 0)
            return std::max(1, CPU_COUNT_S(size, set.data()));
        if (errno != EINVAL)
            break;
    }
    return std::max(1u, std::thread::hardware_concurrency());
}

} // namespace telvora::detail
