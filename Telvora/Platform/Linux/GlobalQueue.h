#pragma once

#include <Telvora/Base/Work.h>

namespace telvora {

/// Runs `work` on the pool, beside whatever else runs there. What it throws ends at the thread's
/// boundary.
void submitGlobally(Work&& work);

} // namespace telvora
