#pragma once

#include <Telvora/Platform/Application.h>
#include <Telvora/Platform/Linux/Machine/SystemFiles.h>

#include <optional>
#include <string>
#include <vector>

namespace telvora::detail {

/// Looks up the application for a URL in the desktop's association files (freedesktop.org's "MIME
/// applications" and "desktop entries"), without running anything. A scheme is handled when such a
/// file names a desktop entry for it and that entry is installed.
///
/// Threads: any, while no other thread changes the environment, which each call reads.
class LinuxApplication final : public Application {
public:
    /// The folders to search, the most important first.
    struct Folders {
        std::vector<std::string> config;
        std::vector<std::string> data;
        /// Names of desktops in lower case. Their files are read before the common ones.
        std::vector<std::string> desktops;
    };

    /// From XDG_CONFIG_HOME, XDG_DATA_DIRS and so on, with their standard defaults.
    static Folders foldersOfEnvironment();

    /// Without `folders`, those of the environment.
    explicit LinuxApplication(SystemFiles files, std::optional<Folders> folders = {});

    bool canOpenURL(const std::string& url) const override;

private:
    bool isInstalled(const std::string& desktopEntry, const Folders& folders) const;

    SystemFiles m_files;
    std::optional<Folders> m_folders;
};

} // namespace telvora::detail
