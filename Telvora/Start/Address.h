#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace telvora {

/// Where a channel posts its batches: a text, or a closure that returns one and is called for each
/// request. Both convert to it: `.url = "https://collector.example/e2e"`.
///
/// Life: never changes once made. One that is made of nothing, or of an empty text or closure, is
/// empty.
/// Threads: a value without a lock. The closure is called as TrackerConfig says of its URL hook.
class Address {
public:
    /// Returns the address of one request.
    using Closure = std::function<std::string()>;

    Address() = default;
    /// The same address for each request.
    Address(std::string text)
        : m_text(std::move(text))
    {
    }
    /// The same.
    Address(std::string_view text)
        : m_text(text)
    {
    }
    /// Null is an empty text.
    Address(const char* text)
        : m_text(text ? text : "")
    {
    }
    /// What `closure` returns for each request.
    template<typename Callable>
    requires(!std::same_as<std::remove_cvref_t<Callable>,
                 Address> && std::is_invocable_r_v<std::string, std::remove_cvref_t<Callable>&>)
        Address(Callable&& closure)
        : m_closure(std::forward<Callable>(closure))
    {
    }

    /// Whether there is neither a text nor a closure.
    bool isEmpty() const { return m_text.empty() && !m_closure; }
    /// Empty for a closure.
    const std::string& text() const { return m_text; }
    /// Whether a closure is asked for each request.
    bool isClosure() const { return static_cast<bool>(m_closure); }

    /// The closure, or one that returns the text; empty if the address is empty.
    Closure closure() const
    {
        if (m_text.empty())
            return m_closure;
        return [text = m_text] { return text; };
    }

private:
    std::string m_text;
    Closure m_closure;
};

} // namespace telvora
