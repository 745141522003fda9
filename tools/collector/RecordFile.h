#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace telvora::collector {

/// A file that takes one line a request. Every line is handed to the system when it is written,
/// so that a reader sees whole lines while the collector still runs.
class RecordFile {
public:
    /// Begins the file anew. An empty path makes a file that takes nothing.
    bool open(const std::string& path);
    bool isOpen() const { return m_file != nullptr; }

    /// False once the disk takes no more.
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
