#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace telvora::host {

/// Cuts what comes from a file descriptor into lines. Takes only what is there, so that a line
/// typed into a pipe is run before the next one is written.
///
/// Threads: one.
class LineReader {
public:
    static constexpr std::size_t longestLine = 64 * 1024 * 1024;

    struct Line {
        std::string text;
        /// The line went past the limit; its text is gone.
        bool isTooLong = false;
    };

    /// The caller closes `descriptor`.
    explicit LineReader(int descriptor, std::size_t limit = longestLine);

    /// The next line without its end, the last one also if it has none; absent at the end of the
    /// input, and when it cannot be read.
    std::optional<Line> next();

private:
    bool fill();

    const int m_descriptor;
    const std::size_t m_limit;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

} // namespace telvora::host
