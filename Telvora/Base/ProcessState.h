#pragma once

#include <Telvora/Base/Export.h>

#include <atomic>

namespace telvora::detail {

/// Something of which the process has one, and which renewAll() makes as new, so that a test can
/// begin again as in a new process. Every static of the library that changes is one: a Lazy or a
/// ProcessValue.
///
/// Life: static and constinit. It joins the list of all when it changes for the first time, so that
/// reading it costs nothing.
///
/// Threads: join() from any thread, without a lock. During renewAll() no other thread may be inside
/// the library.
class TELVORA_EXPORT ProcessState {
public:
    ProcessState(const ProcessState&) = delete;
    ProcessState& operator=(const ProcessState&) = delete;

    /// Retires all, then renews all. What a retired object releases may still call the library.
    static void renewAll();
    /// How often that was done. For objects that must not be used after the next time.
    static unsigned renewalCount() noexcept;

protected:
    constexpr ProcessState() = default;
    ~ProcessState() = default;

    /// Call it before each change.
    void join() noexcept;
    /// Keeps an object that nothing of ours points to any more: references to it stay valid, and no
    /// tool reports it as lost memory.
    static void keep(const void* object);

private:
    /// Lets go of what the host gave. Everything else is still in place.
    virtual void retire() { }
    /// Becomes as it was at the start of the process. Runs no code of the host.
    virtual void renew() = 0;

    std::atomic<bool> m_isListed { false };
    ProcessState* m_next = nullptr;
};

} // namespace telvora::detail
