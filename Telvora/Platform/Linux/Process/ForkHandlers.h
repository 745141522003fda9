#pragma once

namespace telvora::detail {

/// Has fork() tell Base/ForkedChild.h of what it does. Any number of calls; comes before the first
/// use of the library's threads.
void installForkHandlers();

} // namespace telvora::detail
