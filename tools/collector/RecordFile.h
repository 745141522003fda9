#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace telvora::collector {

/// A file with one line a request. Each line is flushed, so that a reader sees whole lines while
/// the collector still runs.
class RecordFile {
public:
    /// Creates or truncates the file. An empty `path` succeeds and opens nothing.
    bool open(const std::string& path);
    bool isOpen() const { return m_file != nullptr; }

    /// False where writing failed.
    bool writeLine(std::string_view line);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Closer> m_file;
};

/// Writes the whole file or nothing: a reader never sees half of it.
bool writeFileAtomically(const std::string& path, std::string_view content);

} // namespace telvora::collector
