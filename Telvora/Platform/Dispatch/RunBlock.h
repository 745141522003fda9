#pragma once

namespace telvora::detail {

/// Runs a block for which no caller waits.
template<typename Block> void runBlock(Block& block) noexcept
{
    try {
        block();
    } catch (...) {
        // Nobody can catch it, so it is dropped.
    }
}

} // namespace telvora::detail
