#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Mutex.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::host {

/// Lines with several owners; destroyed without recursion.
using SharedLines = std::shared_ptr<const Array>;
SharedLines shareLines(const Array& lines);

/// The lines that wait for a closure of the host to be called.
///
/// Threads: any.
class InsideLines {
public:
    struct Order {
        /// Which closure: "url", "trigger", ...
        std::string where;
        /// Which channel; any where absent.
        std::optional<std::string> index;
        SharedLines lines;
        /// For how many more calls.
        std::int64_t times = 1;
    };

    void add(Order order) TELVORA_EXCLUDES(m_lock);

    /// The lines that this call of a closure must run: those of every matching order, the oldest
    /// order first.
    std::vector<SharedLines> take(std::string_view where, const std::string* index)
        TELVORA_EXCLUDES(m_lock);

private:
    detail::Mutex m_lock;
    std::vector<Order> m_orders TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::host
