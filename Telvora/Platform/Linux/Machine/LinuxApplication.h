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
/// Threads: any. The environment is read by the constructor.
class LinuxApplication final : public Application {
public:
    /// The folders to search, the most important first: lists with colons, as in the environment.
    struct Folders {
        std::string config;
        std::string data;
        /// Names of desktops. Their files are read before the common ones.
        std::string desktops;
    };

    /// From XDG_CONFIG_HOME, XDG_DATA_DIRS and so on, with their standard defaults.
    static Folders foldersOfEnvironment();

    explicit LinuxApplication(SystemFiles files, Folders folders = foldersOfEnvironment());

    bool canOpenURL(const std::string& url) const override;

private:
    bool isInstalled(
        const std::string& desktopEntry, const std::vector<std::string>& dataFolders) const;

    SystemFiles m_files;
    Folders m_folders;
};

} // namespace telvora::detail
