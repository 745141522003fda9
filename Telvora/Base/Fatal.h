#pragma once

#include <Telvora/Base/Export.h>

#include <string_view>

namespace telvora {

/// Ends the process because the host broke a rule that cannot be met half-way: writes
/// "Fatal error: MESSAGE: file WHERE" to standard error and aborts. The only thing the library
/// prints without being asked, and never the answer to a run-time condition.
[[noreturn]] TELVORA_EXPORT void fatal(std::string_view message, std::string_view where);

} // namespace telvora
