#pragma once

#include <Telvora/Platform/Application.h>
#include <Telvora/Platform/Linux/Machine/SystemFiles.h>

#include <string>
#include <vector>

namespace telvora::detail {

/// Looks up the application for a URL in the desktop's association files (freedesktop.org's "MIME
/// applications" and "desktop entries"), without running anything. A scheme is handled when such a
/// file names a desktop entry for it and that entry is installed.
///
/// Threads: any. The folders are read from the environment once, by the constructor.
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

    explicit LinuxApplication(SystemFiles files, Folders folders = foldersOfEnvironment());

    bool canOpenURL(const std::string& url) const override;

private:
    std::vector<std::string> associationFiles() const;
    bool isInstalled(const std::string& desktopEntry) const;

    SystemFiles m_files;
    Folders m_folders;
};

} // namespace telvora::detail
