#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/FileManager.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace telvora {

/// A FileManager over a file system of two lists: the paths that exist and those that can be
/// written. Nothing is in either at the start. A path that was written exists from then on.
///
/// Threads: any.
class TELVORA_EXPORT ScriptedFileManager final : public FileManager {
public:
    bool fileExists(const std::string& path) const override;
    bool writeAtomically(const std::string& path, std::string_view text) override;

    /// Replaces the paths that exist without having been written.
    void setExisting(std::set<std::string> paths);
    /// Replaces the paths that can be written from now on.
    void setWritable(std::set<std::string> paths);

    /// What was last written to `path`; absent when nothing was.
    std::optional<std::string> writtenText(const std::string& path) const;

    /// Called for each fileExists(), whatever its result.
    void setProbeObserver(std::function<void(const std::string& path)> observer);
    /// Called for each attempt to write, whether it fails or not.
    void setWriteObserver(
        std::function<void(const std::string& path, const std::string& text)> observer);

private:
    Observer<const std::string&> m_probeObserver;
    Observer<const std::string&, const std::string&> m_writeObserver;
    struct Files {
        std::set<std::string> existing;
        std::set<std::string> writable;
        // The text by the path.
        std::map<std::string, std::string> written;
    };

    detail::Guarded<Files> m_files;
};

} // namespace telvora
