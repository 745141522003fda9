#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace telvora::host {

/// Splits the input from a file descriptor into lines. Waits for no more than one line, so that a
/// line written into a pipe runs before the next one is written.
///
/// Threads: one.
class LineReader {
public:
    static constexpr std::size_t longestLine = 64 * 1024 * 1024;

    struct Line {
        std::string text;
        /// The line was longer than the limit; its text is dropped.
        bool isTooLong = false;
    };

    /// The caller closes `descriptor`.
    explicit LineReader(int descriptor, std::size_t limit = longestLine);

    /// The next line without its line end, which the last line may lack; absent at the end of the
    /// input and after a read error.
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
