#pragma once

#include <cstddef>
#include <string_view>

namespace telvora::collector {

/// Length in bytes of the well-formed UTF-8 sequence at `at`, or 0.
std::size_t utf8SequenceLength(std::string_view text, std::size_t at);

bool isUTF8(std::string_view text);

} // namespace telvora::collector
