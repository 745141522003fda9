#pragma once

#include <Telvora/Platform/FileManager.h>

namespace telvora::detail {

/// Files by their system calls.
///
/// Deliberate: writeAtomically() does not wait for the disk. A reader, or a process that is
/// killed, never meets half a file; a power cut may lose the newest one. Waiting would hold the
/// host's thread for as long as the disk likes.
class LinuxFileManager final : public FileManager {
public:
    /// `root` is put before every path; empty for the files as they are.
    explicit LinuxFileManager(std::string root = {});

    bool fileExists(const std::string& path) const override;
    bool writeAtomically(const std::string& path, std::string_view text) override;

private:
    std::string m_root;
};

} // namespace telvora::detail
