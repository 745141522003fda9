#pragma once

#include <Telvora/Base/ForkedChild.h>

namespace telvora {

using detail::isForkedChild;

/// Has fork() tell Base/ForkedChild.h of what it does. Any number of calls; comes before the first
/// use of the library's threads.
void watchForForks();

} // namespace telvora
