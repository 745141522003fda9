#pragma once

#include <Telvora/Base/Export.h>

#include <chrono>
#include <optional>
#include <string>

namespace telvora::detail {

/// How long this process has been running, from /proc/self/stat, which the kernel counts in steps
/// of 10 ms; absent where that cannot be read.
///
/// Threads: any. Reads a small file. Failure: throws std::bad_alloc.
TELVORA_EXPORT std::optional<std::chrono::nanoseconds> processAge();

/// The same with the text of that file, the number of its steps in a second, and the time since the
/// machine was started. Field 22 is the time of the start; the name of the program, field 2, is in
/// brackets and may contain anything (proc(5)).
TELVORA_EXPORT std::optional<std::chrono::nanoseconds> processAge(
    const std::string& stat, long stepsPerSecond, std::chrono::nanoseconds sinceBoot);

} // namespace telvora::detail
