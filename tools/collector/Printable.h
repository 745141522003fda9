#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace telvora::collector {

/// `text` as a person may see it, whoever wrote it: a terminal must not obey it, and it stays in
/// one line. Control characters, line breaks, marks that change the direction of writing and bytes
/// that are not UTF-8 become \xNN, a byte each. Beyond `longest` bytes of `text` it is cut and ends
/// with "...".
std::string printable(std::string_view text, std::size_t longest);

} // namespace telvora::collector
