#include <benchmarks/Figures.h>

#include <benchmarks/Percentiles.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <thread>

namespace telvora {

Arguments::Arguments(int count, char** values)
    : m_values(values + 1, values + count)
{
}

std::string Arguments::text(std::string_view name, std::string_view otherwise) const
{
    for (std::size_t index = 0; index + 1 < m_values.size(); index += 2) {
        if (m_values[index] == name)
            return m_values[index + 1];
    }
    return std::string(otherwise);
}

long Arguments::number(std::string_view name, long otherwise) const
{
    const std::string value = text(name);
    return value.empty() ? otherwise : std::strtol(value.c_str(), nullptr, 10);
}

void printFigure(const std::string& name, double value)
{
    std::printf("%s %.3f\n", name.c_str(), value);
    std::fflush(stdout);
}

void printPercentiles(const std::string& name, std::vector<std::int64_t>& costs)
{
    static const double clock = costOfClock();
    printFigure(name + ".p50", percentile(costs, 0.5) - clock);
    printFigure(name + ".p99", percentile(costs, 0.99) - clock);
    printFigure(name + ".p99.9", percentile(costs, 0.999) - clock);
}

void waitUntil(std::string_view what, const std::function<bool()>& isDone)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::cerr << "Waited too long: " << what << '\n';
            std::_Exit(1);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

} // namespace telvora
