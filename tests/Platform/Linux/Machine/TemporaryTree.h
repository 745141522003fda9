#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace telvora::detail {

/// A folder of its own, empty at first and gone with the test, to play the root of a system.
class TemporaryTree {
public:
    TemporaryTree()
    {
        std::string name = (std::filesystem::temp_directory_path() / "telvora-XXXXXX").string();
        if (!::mkdtemp(name.data()))
            std::abort();
        m_path = name;
    }
    ~TemporaryTree()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    TemporaryTree(const TemporaryTree&) = delete;
    TemporaryTree& operator=(const TemporaryTree&) = delete;

    const std::string& path() const { return m_path; }

    /// Writes a file, and makes the folders that it lies in. `path` is absolute within the tree.
    void write(const std::string& path, std::string_view text) const
    {
        const std::filesystem::path full = m_path + path;
        std::filesystem::create_directories(full.parent_path());
        std::ofstream(full, std::ios::binary) << text;
    }

    void makeFolder(const std::string& path) const
    {
        std::filesystem::create_directories(m_path + path);
    }

private:
    std::string m_path;
};

} // namespace telvora::detail
