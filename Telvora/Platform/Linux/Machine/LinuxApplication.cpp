#include <Telvora/Platform/Linux/Machine/LinuxApplication.h>

#include <Telvora/Base/ASCII.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace telvora::detail {

namespace {

/// The cache of a desktop with very many applications is some hundred kilobytes.
constexpr std::size_t fileLimitBytes = 8 * 1024 * 1024;

std::vector<std::string> parts(std::string_view text, char separator)
{
    std::vector<std::string> result;
    while (!text.empty()) {
        const auto end = text.find(separator);
        if (const auto part = trimmed(text.substr(0, end)); !part.empty())
            result.emplace_back(part);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return result;
}

std::string environment(const char* name, const std::string& otherwise)
{
    const char* value = std::getenv(name);
    return value && *value ? value : otherwise;
}

/// Lower case, without the colon; empty for a text that starts with none (RFC 3986, 3.1).
std::string schemeOf(const std::string& url)
{
    const std::string scheme = lowered(url.substr(0, url.find(':')));
    const bool isScheme = scheme.size() < url.size() && !scheme.empty() && isLetter(scheme[0])
        && std::ranges::all_of(scheme,
            [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; });
    return isScheme ? scheme : std::string();
}

// The desktop entries that one association file names for a type.
struct Entries {
    std::vector<std::string> added;
    std::vector<std::string> removed;
};

Entries entriesFor(std::string_view type, std::string_view text)
{
    Entries entries;
    std::string_view group;
    while (!text.empty()) {
        const auto line = trimmed(nextLine(text));
        if (!line.empty() && line.front() == '[') {
            group = line;
            continue;
        }
        const auto equals = line.find('=');
        if (equals == std::string_view::npos || trimmed(line.substr(0, equals)) != type)
            continue;
        auto& list = group == "[Removed Associations]" ? entries.removed : entries.added;
        for (auto& name : parts(line.substr(equals + 1), ';'))
            list.push_back(std::move(name));
    }
    return entries;
}

std::vector<std::string> associationFiles(const LinuxApplication::Folders& folders)
{
    // Desktops name their files in lower case.
    const std::vector<std::string> desktops = parts(lowered(folders.desktops), ':');
    std::vector<std::string> paths;
    const auto addLists = [&](const std::string& folder) {
        for (const std::string& desktop : desktops)
            paths.push_back(folder + "/" + desktop + "-mimeapps.list");
        paths.push_back(folder + "/mimeapps.list");
    };
    for (const std::string& folder : parts(folders.config, ':'))
        addLists(folder);
    for (const std::string& folder : parts(folders.data, ':')) {
        addLists(folder + "/applications");
        paths.push_back(folder + "/applications/mimeinfo.cache");
    }
    return paths;
}

} // namespace

LinuxApplication::Folders LinuxApplication::foldersOfEnvironment()
{
    const std::string home = environment("HOME", "/nonexistent");
    return {
        environment("XDG_CONFIG_HOME", home + "/.config") + ":"
            + environment("XDG_CONFIG_DIRS", "/etc/xdg"),
        environment("XDG_DATA_HOME", home + "/.local/share") + ":"
            + environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share"),
        environment("XDG_CURRENT_DESKTOP", ""),
    };
}

LinuxApplication::LinuxApplication(SystemFiles files, Folders folders)
    : m_files(std::move(files))
    , m_folders(std::move(folders))
{
}

bool LinuxApplication::canOpenURL(const std::string& url) const
{
    const std::string scheme = schemeOf(url);
    if (scheme.empty())
        return false;

    const std::vector<std::string> dataFolders = parts(m_folders.data, ':');
    // A file may remove an entry that a less important file adds, not the reverse.
    const std::string type = "x-scheme-handler/" + scheme;
    std::vector<std::string> removed;
    for (const std::string& path : associationFiles(m_folders)) {
        const auto text = m_files.contents(path, fileLimitBytes);
        if (!text)
            continue;
        Entries entries = entriesFor(type, *text);
        for (const std::string& name : entries.added) {
            if (std::ranges::find(removed, name) == removed.end() && isInstalled(name, dataFolders))
                return true;
        }
        for (std::string& name : entries.removed)
            removed.push_back(std::move(name));
    }
    return false;
}

bool LinuxApplication::isInstalled(
    const std::string& desktopEntry, const std::vector<std::string>& dataFolders) const
{
    if (desktopEntry.find('/') != std::string::npos)
        return false;

    // The entry "kde-mail.desktop" may lie in applications/kde/mail.desktop.
    std::string name = desktopEntry;
    for (;;) {
        for (const std::string& folder : dataFolders) {
            const std::string path = folder + "/applications/" + name;
            if (m_files.exists(path))
                return m_files.assignment(path, "Hidden").value_or("false") != "true";
        }
        const auto dash = name.find('-');
        if (dash == std::string::npos)
            return false;
        name[dash] = '/';
    }
}

} // namespace telvora::detail
