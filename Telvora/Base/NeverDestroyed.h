#pragma once

namespace telvora::detail {

/// A static object that exists before any code of the process runs and is never destroyed, because
/// our threads and late calls of the host still use it while the process ends. Declare it
/// constinit. Then the compiler adds no guard, which a forked child could inherit locked for ever.
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
