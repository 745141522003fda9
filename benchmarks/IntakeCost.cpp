// The cost of handing over one event for the calling thread, call by call, for Telvora and for the
// libraries it is compared with; their rounds alternate. Left out: building the event (between the
// calls, for all of them) and the cost of reading the clock.

#include <benchmarks/AnsweringPlatform.h>
#include <benchmarks/Costs.h>
#include <benchmarks/Figures.h>
#include <benchmarks/IntakeContenders.h>
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

template<typename Contender>
void runRound(const std::string& name, int threads, int events, Costs& costs)
{
    Contender contender;
    measureCalls(
        threads, events, makeSubmission,
        [&](Submission&& submission) { contender.submit(std::move(submission)); }, costs[name]);
    if (!contender.finish(long(threads) * events)) {
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
            runRound<TelvoraContender>("telvora", threads, events / threads, costs);
            runRound<MoodycamelContender>("moodycamel", threads, events / threads, costs);
            runRound<KafkaContender>("librdkafka", threads, events / threads, costs);
            runRound<SpdlogContender>("spdlog", threads, events / threads, costs);
        }
        for (auto& [name, own] : costs)
            printPercentiles("intake." + std::to_string(threads) + "." + name, own);
    }
}
