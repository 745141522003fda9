#pragma once

#include <Telvora/Platform/Application.h>
#include <Telvora/Platform/Linux/Machine/SystemFiles.h>

#include <string>
#include <vector>

namespace telvora::detail {

/// Looks up who handles an address in the desktop's own registers (freedesktop.org's "MIME
/// applications" and "desktop entries"), without running anything: a scheme is handled when a
/// register names a desktop entry for it and that entry is installed.
///
/// Threads: any. The folders are taken from the environment once, when it is made.
class LinuxApplication final : public Application {
public:
    /// The folders to look in, the most important first.
    struct Folders {
        std::vector<std::string> config;
        std::vector<std::string> data;
        /// Names of desktops, lower case, whose own registers go before the common ones.
        std::vector<std::string> desktops;
    };

    /// As XDG_CONFIG_HOME, XDG_DATA_DIRS and their like say, with the usual defaults.
    static Folders foldersOfEnvironment();

    explicit LinuxApplication(SystemFiles files, Folders folders = foldersOfEnvironment());

    bool canOpenURL(const std::string& url) const override;

private:
    std::vector<std::string> registers() const;
    bool isInstalled(const std::string& desktopEntry) const;

    SystemFiles m_files;
    Folders m_folders;
};

} // namespace telvora::detail
