#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace telvora {

/// A binary heap in one array, ordered by a comparison: where `ordered(a, b)` is true, `a` belongs
/// below `b` in the heap. pop() removes the root.
///
/// Life: a value; copying it copies the array.
///
/// Ours instead of the standard heap functions, because the order of equal elements is part of the
/// contract and the comparison may be non-strict. A new element rises above each parent for which
/// `ordered(parent, element)` is true. A sinking element changes places with the right child only
/// if `ordered(left, right)` is true. The standard leaves the order of equal elements open and
/// forbids a non-strict comparison.
///
/// Threads: like any container; many readers or one writer.
///
/// Cost: push and pop O(log n) with no allocation but the array's growth; remove and removeAll
/// search from the front.
///
/// Deliberate: range-for yields the elements in the order in which pop() would return them, and
/// works on a copy; operator[] yields level order.
template<typename T, typename Order = std::function<bool(const T&, const T&)>> class PriorityQueue {
public:
    /// If `ascending`, pop() returns the smallest element first, otherwise the largest.
    // A template, so that a function is not converted to bool.
    template<std::same_as<bool> Ascending>
    explicit PriorityQueue(Ascending ascending,
        std::vector<T> startingValues
        = {}) requires std::is_same_v<Order, std::function<bool(const T&, const T&)>>
        : PriorityQueue(ascending ? Order(std::greater<T>()) : Order(std::less<T>()),
              std::move(startingValues))
    {
    }

    /// With `order` as the comparison. Turns `startingValues` into a heap in O(n).
    explicit PriorityQueue(Order order, std::vector<T> startingValues = {})
        : m_heap(std::move(startingValues))
        , m_ordered(std::move(order))
    {
        for (std::size_t index = m_heap.size() / 2; index-- > 0;)
            sink(index, m_heap.size());
    }

    /// How many elements there are.
    std::size_t count() const { return m_heap.size(); }
    /// Whether there are none.
    bool isEmpty() const { return m_heap.empty(); }

    /// Inserts an element, in O(log n).
    void push(T element)
    {
        m_heap.push_back(std::move(element));
        swim(m_heap.size() - 1);
    }

    /// Removes and returns the root; absent when the queue is empty.
    std::optional<T> pop()
    {
        if (m_heap.empty())
            return std::nullopt;
        if (m_heap.size() > 1)
            fastPop(m_heap.size() - 1);
        std::optional<T> root(std::move(m_heap.back()));
        m_heap.pop_back();
        return root;
    }

    /// A copy of the root; absent when the queue is empty.
    std::optional<T> peek() const
    {
        return m_heap.empty() ? std::nullopt : std::optional<T>(m_heap.front());
    }

    /// Removes the first element, in level order, that equals `item`, if there is one.
    void remove(const T& item)
    {
        const auto found = std::find(m_heap.begin(), m_heap.end(), item);
        if (found == m_heap.end())
            return;
        const auto index = static_cast<std::size_t>(found - m_heap.begin());
        std::swap(m_heap[index], m_heap.back());
        m_heap.pop_back();
        if (index < m_heap.size()) {
            swim(index);
            sink(index, m_heap.size());
        }
    }

    /// Removes every element that equals `item`.
    void removeAll(const T& item)
    {
        // A copy, since `item` may refer to an element of the heap, which the first removal
        // changes.
        const T wanted = item;
        std::size_t before = 0;
        do {
            before = m_heap.size();
            remove(wanted);
        } while (m_heap.size() < before);
    }

    /// Removes all elements and frees the memory.
    void clear() { std::vector<T>().swap(m_heap); }

    /// Level order: index 0 is the root, the children of i are at 2i+1 and 2i+2.
    const T& operator[](std::size_t index) const { return m_heap[index]; }
    /// The root's index.
    std::size_t startIndex() const { return 0; }
    /// One past the last index.
    std::size_t endIndex() const { return m_heap.size(); }
    /// The index that comes next.
    std::size_t index(std::size_t after) const { return after + 1; }
    /// The same as count().
    std::size_t underestimatedCount() const { return count(); }

    class Iterator;
    /// Compared with an iterator: nothing is left.
    struct End { };
    /// Begins with the root of a copy.
    Iterator begin() const { return Iterator(*this); }
    /// What an iterator equals when its copy is empty.
    End end() const { return {}; }

    /// The heap in level order: [a, b, c].
    std::string description() const
    {
        std::ostringstream text;
        text << *this;
        return text.str();
    }
    /// The same as description().
    std::string debugDescription() const { return description(); }
    /// Writes description().
    friend std::ostream& operator<<(std::ostream& out, const PriorityQueue& queue)
    {
        out << '[';
        for (std::size_t index = 0; index < queue.count(); ++index)
            out << (index > 0 ? ", " : "") << queue[index];
        return out << ']';
    }

private:
    void swim(std::size_t index)
    {
        while (index > 0 && m_ordered(m_heap[(index - 1) / 2], m_heap[index])) {
            std::swap(m_heap[(index - 1) / 2], m_heap[index]);
            index = (index - 1) / 2;
        }
    }

    // Looks at the first `length` elements only.
    void sink(std::size_t index, std::size_t length)
    {
        while (2 * index + 1 < length) {
            std::size_t child = 2 * index + 1;
            if (child < length - 1 && m_ordered(m_heap[child], m_heap[child + 1]))
                ++child;
            if (!m_ordered(m_heap[index], m_heap[child]))
                return;
            std::swap(m_heap[index], m_heap[child]);
            index = child;
        }
    }

    // Moves the root to the end of the array and restores the order of the rest.
    void fastPop(std::size_t newCount)
    {
        std::swap(m_heap[0], m_heap[newCount]);
        sink(0, newCount);
    }

    std::vector<T> m_heap;
    Order m_ordered;
};

/// Pops one element after another from a copy of the queue.
template<typename T, typename Order> class PriorityQueue<T, Order>::Iterator {
public:
    /// What std::iterator_traits asks for.
    using value_type = T;
    /// The same.
    using difference_type = std::ptrdiff_t;
    /// The same.
    using iterator_category = std::input_iterator_tag;
    /// The same.
    using pointer = const T*;
    /// The same.
    using reference = const T&;

    /// Pops from `queue`.
    explicit Iterator(PriorityQueue queue)
        : m_queue(std::move(queue))
        , m_current(m_queue.pop())
    {
    }

    /// The element that was popped last. Requires: not at the end.
    const T& operator*() const { return *m_current; }
    /// Pops the next one.
    Iterator& operator++()
    {
        m_current = m_queue.pop();
        return *this;
    }
    /// Whether nothing is left.
    bool operator==(End) const { return !m_current.has_value(); }

private:
    PriorityQueue m_queue;
    std::optional<T> m_current;
};

} // namespace telvora
