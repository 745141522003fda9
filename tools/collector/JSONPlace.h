#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace telvora::collector {

/// The way to a value within a JSON text: indexes of arrays and names of members, outermost first.
using JSONPath = std::vector<std::variant<std::size_t, std::string>>;

/// Where the value at `path` begins, in bytes; with `ofName` where the name before it begins.
/// Of members with the same name the last one counts, as for the JSON reader.
///
/// Requires: `text` is JSON and has such a value.
std::size_t placeInJSON(std::string_view text, const JSONPath& path, bool ofName = false);

/// Where a byte is for a person: "line 3, column 9". Both count from 1. A column is a character
/// of UTF-8, and a tab is one too.
std::string lineAndColumn(std::string_view text, std::size_t byte);

} // namespace telvora::collector
