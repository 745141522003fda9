#pragma once

namespace telvora::detail {

/// Runs a block for which no caller waits. What it throws is dropped.
template<typename Block> void runBlock(Block& block) noexcept
{
    try {
        block();
    } catch (...) {
        // Nobody can catch it.
    }
}

} // namespace telvora::detail
