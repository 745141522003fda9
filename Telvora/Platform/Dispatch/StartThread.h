#pragma once

#include <Telvora/Base/Work.h>

namespace telvora {

/// How the system starts a thread of ours: detached, with every signal blocked, under `name` (at
/// most 15 letters), which process monitors show. What `body` throws ends the thread and nothing
/// else. Calls detail::noteUse() first.
///
/// Failure: false when the system has no thread to give; `body` is then destroyed and did not run.
///
/// Deliberate: detached. Such a thread is still at work when the process ends and must touch
/// nothing that is destroyed then.
using StartThread = bool (*)(const char* name, Work body);

} // namespace telvora
