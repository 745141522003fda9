// What handing over one event costs the thread that does it, call by call, for Telvora and for
// what it is compared with; the rounds of all take turns. Left out: building the event (between
// the calls, for everybody) and the clock's own cost.

#include <benchmarks/AnsweringPlatform.h>
#include <benchmarks/Costs.h>
#include <benchmarks/Figures.h>
#include <benchmarks/IntakeRoads.h>
#include <benchmarks/SampleEvent.h>

#include <cstdlib>
#include <iostream>
#include <map>

namespace telvora {
namespace {

Submission makeSubmission(int number)
{
    return { makeSampleEvent(number), "E2E" };
}

using Costs = std::map<std::string, std::vector<std::int64_t>>;

template<typename Road>
void runRound(const std::string& name, int threads, int events, Costs& costs)
{
    Road road;
    measureCalls(
        threads, events, makeSubmission,
        [&](Submission&& submission) { road.submit(std::move(submission)); }, costs[name]);
    if (!road.finish(long(threads) * events)) {
        std::cerr << name << " lost events\n";
        std::exit(1);
    }
}

} // namespace
} // namespace telvora

int main(int count, char** values)
{
    using namespace telvora;
    const Arguments arguments(count, values);
    const int events = static_cast<int>(arguments.number("--events", 100'000));
    const int rounds = static_cast<int>(arguments.number("--rounds", 5));

    checkSampleEvent();
    installAnsweringPlatform();
    for (const int threads : { 1, 4 }) {
        Costs costs;
        for (int round = 0; round < rounds; ++round) {
            runRound<TelvoraRoad>("telvora", threads, events / threads, costs);
            runRound<MoodycamelRoad>("moodycamel", threads, events / threads, costs);
            runRound<KafkaRoad>("librdkafka", threads, events / threads, costs);
            runRound<SpdlogRoad>("spdlog", threads, events / threads, costs);
        }
        for (auto& [name, own] : costs)
            printPercentiles("intake." + std::to_string(threads) + "." + name, own);
    }
}
