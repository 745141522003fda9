#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

namespace telvora::detail {

/// Ends the process because the host made a programming error from which the library cannot go on:
/// writes "Fatal error: MESSAGE: file WHERE" to standard error and aborts. Other programs read this
/// form, so it says "file" also where `where` is the name of a class. Never called for a condition
/// that can arise at run time in a correct host.
[[noreturn]] TELVORA_EXPORT void fatal(std::string_view message, std::string_view where);

} // namespace telvora::detail
