#pragma once

#include <Telvora/Platform/FileManager.h>

namespace telvora::detail {

/// Files through the system's own calls.
///
/// Deliberate: writeAtomically() does not wait for the disk. No reader finds, and no killed process
/// leaves, half a file; a power cut may lose the newest one. Waiting for a slow disk would block
/// the host's thread.
class LinuxFileManager final : public FileManager {
public:
    /// `root` is a prefix for every path; empty for the running system.
    explicit LinuxFileManager(std::string root = {});

    bool fileExists(const std::string& path) const override;
    bool writeAtomically(const std::string& path, std::string_view text) override;

private:
    std::string m_root;
};

} // namespace telvora::detail
