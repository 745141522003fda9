#pragma once

#include <Telvora/Base/Work.h>

namespace telvora::detail {

/// Starts a detached thread with every signal blocked; see StartThread. `name` has at most 15
/// letters. An exception that leaves `body` ends the thread and nothing else. False when the system
/// refuses the thread, and in a forked child; `body` is then destroyed without a call.
///
/// Deliberate: detached. Such a thread may still run while the process ends, so it must not use
/// anything that is destroyed then.
bool startDetachedThread(const char* name, Work body);

} // namespace telvora::detail
