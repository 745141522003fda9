#pragma once

#include <Telvora/Base/Work.h>

namespace telvora {

/// Starts a thread of the library: detached, with every signal blocked. Process monitors show
/// `name`, of at most 15 letters. An exception that leaves `body` ends the thread and nothing else.
/// Calls detail::noteUse() first. Used by ThreadedDispatch and CurlHTTPClient.
///
/// Failure: false when the system refuses the thread; `body` is then destroyed without a call.
///
/// Deliberate: detached. Such a thread may still run while the process ends, so it must not use
/// anything that is destroyed then.
using StartThread = bool (*)(const char* name, Work body);

} // namespace telvora
