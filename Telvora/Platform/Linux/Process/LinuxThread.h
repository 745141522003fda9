#pragma once

#include <Telvora/Base/Work.h>

namespace telvora::detail {

/// Starts a thread that nobody waits for and that no signal of the host's is ever delivered to.
/// `name`, at most 15 letters, is what process monitors show. An exception that leaves `body`
/// ends the thread and nothing else. False when the system has no thread to give; `body` is then
/// destroyed without having run.
///
/// Deliberate: detached. Such a thread is still at its work when the process ends, and must touch
/// nothing that is destroyed then.
bool startDetachedThread(const char* name, Work body);

} // namespace telvora::detail
