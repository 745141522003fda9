#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How the programs read their arguments and print their figures.
namespace telvora {

/// The command line: `--events 1000 --collector PATH`.
class Arguments {
public:
    Arguments(int count, char** values);

    /// The value of the option `name`; `otherwise` where it is missing.
    std::string text(std::string_view name, std::string_view otherwise = {}) const;
    long number(std::string_view name, long otherwise) const;

private:
    std::vector<std::string> m_values;
};

/// One line, "NAME VALUE", on the standard output. run-all reads these.
void printFigure(const std::string& name, double value);

/// Prints p50, p99 and p99.9 of `costs`, in nanoseconds and without the cost of reading the clock,
/// as NAME.p50 and so on.
void printPercentiles(const std::string& name, std::vector<std::int64_t>& costs);

/// Waits until `isDone`, polling every 200 µs; prints `what` and exits after two minutes.
void waitUntil(std::string_view what, const std::function<bool()>& isDone);

} // namespace telvora
