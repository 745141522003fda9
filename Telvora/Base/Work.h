#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace telvora {

template<typename Signature, std::size_t inlineBytes> class UniqueFunction;

/// A callable that is moved, never copied. What it captures is stored inside it if it fits into
/// `inlineBytes`, and in allocated memory otherwise. std::function would copy the events that a
/// block carries and allocate for nearly every block.
///
/// Life: empty until given a callable; empty again once moved from.
/// Threads: a value without a lock.
/// Failure: calling an empty one crashes; test with operator bool. Making one throws
/// std::bad_alloc where it needs memory and there is none.
template<typename Result, typename... Arguments, std::size_t inlineBytes>
class UniqueFunction<Result(Arguments...), inlineBytes> {
public:
    /// Empty.
    UniqueFunction() = default;

    /// Holds `callable`, moved or copied into it.
    template<typename Callable>
    requires(
        !std::is_same_v<std::remove_cvref_t<Callable>,
            UniqueFunction> && std::is_invocable_r_v<Result, std::remove_cvref_t<Callable>&, Arguments...>)
        UniqueFunction(Callable&& callable)
    {
        construct<std::remove_cvref_t<Callable>>(std::forward<Callable>(callable));
    }

    /// Takes the callable; the other is empty afterwards.
    UniqueFunction(UniqueFunction&& other) noexcept
        : m_operations(std::exchange(other.m_operations, nullptr))
    {
        if (m_operations)
            m_operations->move(m_storage, other.m_storage);
    }

    /// The same; the callable that was held is destroyed.
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

    /// Whether there is a callable.
    explicit operator bool() const { return m_operations != nullptr; }

    /// Calls the callable. Requires: not empty.
    Result operator()(Arguments... arguments)
    {
        return m_operations->call(m_storage, std::forward<Arguments>(arguments)...);
    }

    /// Replaces the callable by `Callable { arguments... }`, made in place, so that it need not be
    /// moved.
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

    /// Whether such a callable is kept in place, without an allocation.
    template<typename Stored>
    static constexpr bool fits
        = sizeof(Stored) <= inlineBytes && alignof(Stored) <= alignof(std::max_align_t)
        && std::is_nothrow_move_constructible_v<Stored>;

private:
    struct Operations {
        Result (*call)(std::byte*, Arguments&&...);
        void (*move)(std::byte* to, std::byte* from) noexcept;
        void (*destroy)(std::byte*) noexcept;
    };

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

/// One block of work for a queue. The size is chosen so that the block that hands an event to its
/// channel (the manager, the dictionary, the channel's index and the network) needs no allocation.
using Work = UniqueFunction<void(), 80>;

/// A reference to a callable, for a function that calls it before it returns. Allocates nothing and
/// copies nothing.
template<typename Signature> class FunctionRef;

/// The one form there is, of a callable that takes `Arguments` and returns `Result`.
template<typename Result, typename... Arguments> class FunctionRef<Result(Arguments...)> {
public:
    /// Refers to `callable`, which must live as long.
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

    /// Calls it.
    Result operator()(Arguments... arguments) const
    {
        return m_call(m_object, std::forward<Arguments>(arguments)...);
    }

private:
    void* m_object;
    Result (*m_call)(void*, Arguments...);
};

} // namespace telvora
