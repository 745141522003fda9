#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace telvora {

/// Readers side by side, writers alone, on a concurrent queue of its own.
///
/// Life: destroying it waits for the writes that are still to run.
///
/// Threads: any. read() must not be called from inside a block of the same lock, it would wait
/// for itself; write() may.
///
/// Deliberate: write() never waits, so its effect is first seen by a later read() or write().
class TELVORA_EXPORT ReadWriteLock {
public:
    ReadWriteLock();

    /// Runs `block` before it returns and gives its result back, or lets through what it throws.
    template<typename Block> auto read(Block&& block) const -> std::invoke_result_t<Block&>
    {
        using Result = std::invoke_result_t<Block&>;
        if constexpr (std::is_void_v<Result>) {
            m_queue->sync(block);
        } else {
            std::optional<Result> result;
            m_queue->sync([&] { result.emplace(block()); });
            return std::move(*result);
        }
    }

    /// Queues `block` to run alone, after every read and write submitted before it.
    void write(Work block) { m_queue->barrierAsync(std::move(block)); }

private:
    std::unique_ptr<DispatchQueue> m_queue;
};

} // namespace telvora
