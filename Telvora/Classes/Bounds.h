#pragma once

#include <Telvora/Classes/Limits.h>

#include <memory>
#include <vector>

namespace telvora {

class TrackerConfig;

namespace detail {

/// Keeps what some channels hold together within limits: one channel within its own, or all
/// registered ones within those of all together.
///
/// Life: made for one use. Its cost grows with the number of its channels.
/// Threads: use it in a barrier block of the manager's queue. Batches may leave the retry caches
/// meanwhile.
/// Failure: hold() throws std::bad_alloc, for DropFirst::newest alone.
class Bounds {
public:
    using Channels = std::vector<std::shared_ptr<TrackerConfig>>;

    Bounds(Channels channels, const Limits& limits);

    /// Whether `more` may be kept beside what is there. With DropFirst::oldest there is room for
    /// everything that is not too much by itself.
    bool hasRoom(const Held& more) const;

    /// Drops what is too much.
    void hold() const;

private:
    Held held() const;
    Excess excess() const { return { held(), m_limits }; }

    enum class Which { first, last };
    // Each returns whether there was anything to be dropped.
    bool dropBatch(Which which) const;
    bool dropFirstEvent() const;
    void dropLastEvents() const;

    const Channels m_channels;
    const Limits m_limits;
};

} // namespace detail

} // namespace telvora
