#pragma once

#include <Telvora/Base/Export.h>

#include <string>
#include <string_view>

namespace telvora {

/// The two things the library asks of a file system.
///
/// Threads: any.
/// Implementations: Linux/Machine/LinuxFileManager, Simulated/ScriptedFileManager.
class TELVORA_EXPORT FileManager {
public:
    virtual ~FileManager() = default;

    virtual bool fileExists(const std::string& path) const = 0;

    /// Writes `text` so that the file is there whole or not at all. False when it cannot be
    /// written; folders are never made.
    virtual bool writeAtomically(const std::string& path, std::string_view text) = 0;
};

} // namespace telvora
