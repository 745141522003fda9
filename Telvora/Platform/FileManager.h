#pragma once

#include <Telvora/Base/Export.h>

#include <string>
#include <string_view>

namespace telvora {

/// The two file operations that the library needs.
///
/// Used by TrackerDataExcavator, to detect a jailbroken device.
///
/// Threads: any.
/// Implementations: Linux/Machine/LinuxFileManager, Simulated/ScriptedFileManager.
class TELVORA_EXPORT FileManager {
public:
    virtual ~FileManager() = default;

    /// Whether there is a file or folder at `path`.
    virtual bool fileExists(const std::string& path) const = 0;

    /// Writes the file `path`: afterwards it has all of `text`, or is unchanged. False when it
    /// cannot be written. Never makes folders.
    virtual bool writeAtomically(const std::string& path, std::string_view text) = 0;
};

} // namespace telvora
