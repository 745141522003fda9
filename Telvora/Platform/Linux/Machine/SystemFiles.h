#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::detail {

/// Reads the system's descriptions of itself in small files: /sys, /proc, /etc, /usr. All paths are
/// absolute and looked up below a root, so that a test can supply its own tree.
///
/// Threads: any; its only state is the root.
/// Failure: a file that is missing, unreadable or larger than the limit counts as absent.
class SystemFiles {
public:
    static constexpr std::size_t defaultLimitBytes = 64 * 1024;

    /// `root` is a prefix for every path; empty for the running system.
    explicit SystemFiles(std::string root = {});

    /// `path` with the root before it.
    std::string below(std::string_view path) const;
    bool exists(std::string_view path) const;

    /// The whole file, at most `limitBytes` long.
    std::optional<std::string> contents(
        std::string_view path, std::size_t limitBytes = defaultLimitBytes) const;

    /// The first line or, as the device tree writes them, the first string up to a NUL, without
    /// white space around it; absent when nothing is left.
    std::optional<std::string> firstLine(std::string_view path) const;

    /// The value of KEY=value in a file of shell assignments such as os-release, unquoted; absent
    /// when it is missing or empty.
    std::optional<std::string> assignment(std::string_view path, std::string_view key) const;

    /// The names in a folder, sorted; empty if there is no folder.
    std::vector<std::string> namesIn(std::string_view path) const;

private:
    std::string m_root;
};

/// `text` without white space at either end.
std::string_view trimmed(std::string_view text);

/// Removes the first line from `rest` and returns it without its line break.
std::string_view nextLine(std::string_view& rest);

/// The first line of `text`, up to a NUL, without white space at either end; absent if that leaves
/// nothing.
std::optional<std::string> firstLine(std::string_view text);

} // namespace telvora::detail
