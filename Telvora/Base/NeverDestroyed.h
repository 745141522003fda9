#pragma once

namespace telvora::detail {

/// Something static that is there before the first code of the process runs and stays to its end:
/// threads of ours, and late calls of the host's, still use it while the process ends. Declare it
/// constinit, so that reaching it takes no guard that a forked child could find taken.
template<typename T> class NeverDestroyed {
public:
    constexpr NeverDestroyed()
        : m_value()
    {
    }
    // A default destructor would be deleted where T has one of its own.
    constexpr ~NeverDestroyed() { } // NOLINT(modernize-use-equals-default)

    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& operator*() { return m_value; }
    T* operator->() { return &m_value; }

private:
    union {
        T m_value;
    };
};

} // namespace telvora::detail
