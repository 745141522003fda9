#pragma once

namespace telvora::detail {

/// Registers the handlers of Base/ForkedChild.h, which fork() then calls. Call it before the first
/// thread of the library starts; later calls do nothing.
void installForkHandlers();

} // namespace telvora::detail
