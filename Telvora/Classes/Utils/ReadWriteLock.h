#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace telvora {

/// Several readers at once, or one writer, by means of its own concurrent queue.
///
/// Life: destroying it waits for the writes that have not run yet.
///
/// Threads: any. A block of this lock may call write(), but not read() or writeSync(), which
/// would wait for themselves.
///
/// Deliberate: write() does not wait for its block. Reads and writes that are submitted later see
/// its effect.
class TELVORA_EXPORT ReadWriteLock {
public:
    ReadWriteLock();

    /// Runs `block` before it returns, and returns its result or throws what it throws.
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

    /// Runs `block` alone before it returns, after every read and write submitted before it.
    void writeSync(FunctionRef<void()> block) { m_queue->barrierSync(block); }

    /// Queues `block` to run alone, after every read and write submitted before it.
    void write(Work block) { m_queue->barrierAsync(std::move(block)); }

    /// The same, but `block` may run before this returns, if nobody reads or writes. For short
    /// blocks that wait for nothing.
    void writeNowOrLater(Work block) { m_queue->barrierNowOrLater(std::move(block)); }

private:
    std::unique_ptr<DispatchQueue> m_queue;
};

} // namespace telvora
