#pragma once

#include <tools/collector/Verdict.h>

#include <cstddef>
#include <optional>
#include <string>

namespace telvora::collector {

/// Replaces a body with "Content-Encoding: gzip" by what was compressed, of at most `maximumBytes`.
/// Returns what is wrong with the encoding. A body without that header is right.
std::optional<std::string> unpack(
    const Headers& headers, std::string& body, std::size_t maximumBytes);

} // namespace telvora::collector
