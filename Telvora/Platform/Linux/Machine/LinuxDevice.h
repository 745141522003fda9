#pragma once

#include <Telvora/Platform/Device.h>
#include <Telvora/Platform/Linux/Machine/SystemFiles.h>
#include <Telvora/Platform/Linux/MainScreen.h>

namespace telvora::detail {

/// The machine as its firmware, kernel and distribution describe it.
///
/// Threads: any. Every value is read from the system each time it is asked for.
///
/// Failure: a value that the machine does not have is neutral: the model is "Linux", a screen is
/// zero by zero at one pixel per point.
class LinuxDevice final : public Device {
public:
    explicit LinuxDevice(SystemFiles files, std::optional<MainScreen> screen = {});

    /// The maker's name for the machine, "Linux" without one.
    std::string safeDescription() const override;
    /// "raspberrypi,4-model-b" from a device tree, "LENOVO,20XW0043US" from a firmware table, else
    /// the kind of processor, "x86_64".
    std::string identifier() const override;
    std::optional<std::int64_t> ppi() const override;

    /// The distribution's version, "12"; of a distribution without versions its build, and without
    /// a distribution the kernel's.
    std::string systemVersion() const override;
    /// Compares the numbers at the start of systemVersion(); a version without a number counts as
    /// 0.0.
    bool isSystemVersionAtLeast(int major, int minor) const override;
    UserInterfaceIdiom userInterfaceIdiom() const override;

    Rectangle screenBounds() const override;
    double screenScale() const override;

    /// The processors that this process may run on now.
    std::int64_t activeProcessorCount() const override;

private:
    SystemFiles m_files;
    std::optional<MainScreen> m_screen;
};

} // namespace telvora::detail
