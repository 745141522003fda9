#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace telvora {

template<typename Signature, std::size_t inlineBytes> class UniqueFunction;

/// A callable that is moved, never copied, and keeps what it captures inside itself while that
/// fits `inlineBytes`. std::function would copy the events that a block carries and allocate for
/// nearly every one of them.
///
/// Life: empty until given a callable; empty again once moved from.
/// Threads: none of its own; hand it over like any value.
/// Failure: calling an empty one is a mistake of the caller (it crashes); test with operator bool.
template<typename Result, typename... Arguments, std::size_t inlineBytes>
class UniqueFunction<Result(Arguments...), inlineBytes> {
public:
    UniqueFunction() = default;

    template<typename Callable>
    requires(
        !std::is_same_v<std::remove_cvref_t<Callable>,
            UniqueFunction> && std::is_invocable_r_v<Result, std::remove_cvref_t<Callable>&, Arguments...>)
        UniqueFunction(Callable&& callable)
    {
        construct<std::remove_cvref_t<Callable>>(std::forward<Callable>(callable));
    }

    UniqueFunction(UniqueFunction&& other) noexcept
        : m_operations(std::exchange(other.m_operations, nullptr))
    {
        if (m_operations)
            m_operations->move(m_storage, other.m_storage);
    }

    UniqueFunction& operator=(UniqueFunction&& other) noexcept
    {
        if (this != &other) {
            reset();
            m_operations = std::exchange(other.m_operations, nullptr);
            if (m_operations)
                m_operations->move(m_storage, other.m_storage);
        }
        return *this;
    }

    ~UniqueFunction() { reset(); }

    explicit operator bool() const { return m_operations != nullptr; }

    Result operator()(Arguments... arguments)
    {
        return m_operations->call(m_storage, std::forward<Arguments>(arguments)...);
    }

    /// Replaces the callable by a `Callable { arguments... }` that is made in its place, which
    /// saves what moving it there would cost.
    template<typename Callable, typename... Initializers> void emplace(Initializers&&... arguments)
    {
        reset();
        construct<Callable>(std::forward<Initializers>(arguments)...);
    }

    /// Destroys the callable and what it captured.
    void reset()
    {
        if (auto* operations = std::exchange(m_operations, nullptr))
            operations->destroy(m_storage);
    }

private:
    struct Operations {
        Result (*call)(std::byte*, Arguments&&...);
        void (*move)(std::byte* to, std::byte* from) noexcept;
        void (*destroy)(std::byte*) noexcept;
    };

    template<typename Stored>
    static constexpr bool fits
        = sizeof(Stored) <= inlineBytes && alignof(Stored) <= alignof(std::max_align_t)
        && std::is_nothrow_move_constructible_v<Stored>;

    template<typename Stored, typename... Initializers> void construct(Initializers&&... arguments)
    {
        void* const storage = m_storage;
        if constexpr (fits<Stored>) {
            ::new (storage) Stored { std::forward<Initializers>(arguments)... };
            m_operations = &inlineOperations<Stored>;
        } else {
            ::new (storage) Stored*(new Stored { std::forward<Initializers>(arguments)... });
            m_operations = &heapOperations<Stored>;
        }
    }

    template<typename Stored> static Stored& at(std::byte* storage)
    {
        return *std::launder(static_cast<Stored*>(static_cast<void*>(storage)));
    }

    template<typename Stored>
    static constexpr Operations inlineOperations {
        [](std::byte* storage, Arguments&&... arguments) -> Result {
            return at<Stored>(storage)(std::forward<Arguments>(arguments)...);
        },
        [](std::byte* to, std::byte* from) noexcept {
            ::new (static_cast<void*>(to)) Stored(std::move(at<Stored>(from)));
            at<Stored>(from).~Stored();
        },
        [](std::byte* storage) noexcept { at<Stored>(storage).~Stored(); },
    };

    template<typename Stored>
    static constexpr Operations heapOperations {
        [](std::byte* storage, Arguments&&... arguments) -> Result {
            return (*at<Stored*>(storage))(std::forward<Arguments>(arguments)...);
        },
        [](std::byte* to, std::byte* from) noexcept {
            ::new (static_cast<void*>(to)) Stored*(at<Stored*>(from));
        },
        [](std::byte* storage) noexcept { delete at<Stored*>(storage); },
    };

    const Operations* m_operations = nullptr;
    alignas(std::max_align_t) std::byte m_storage[inlineBytes];
};

/// One block of work for a queue. The room inside is chosen so that an event on its way to its
/// channel (the dictionary, the channel's index and where it goes) needs no allocation.
using Work = UniqueFunction<void(), 80>;

/// A callable that is only looked at while the call lasts, for blocks that run before the
/// function taking them returns. Costs no allocation and no copy.
template<typename Signature> class FunctionRef;

template<typename Result, typename... Arguments> class FunctionRef<Result(Arguments...)> {
public:
    template<typename Callable>
    requires(!std::is_same_v<std::remove_cvref_t<Callable>,
                 FunctionRef> && std::is_invocable_r_v<Result, Callable&, Arguments...>)
        FunctionRef(Callable&& callable)
        : m_object(const_cast<void*>(static_cast<const void*>(std::addressof(callable))))
        , m_call([](void* object, Arguments... arguments) -> Result {
            return (*static_cast<std::remove_reference_t<Callable>*>(object))(
                std::forward<Arguments>(arguments)...);
        })
    {
    }

    Result operator()(Arguments... arguments) const
    {
        return m_call(m_object, std::forward<Arguments>(arguments)...);
    }

private:
    void* m_object;
    Result (*m_call)(void*, Arguments...);
};

} // namespace telvora
