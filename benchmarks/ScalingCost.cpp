// Processor time an event, from handing it over to its answer, as the number of events, channels
// and threads grows: it should stay the same. Batches of 100, answered at once, without a network.
// Building the events is part of it.

#include <Telvora/Telvora.h>

#include <benchmarks/AnsweringPlatform.h>
#include <benchmarks/Figures.h>
#include <benchmarks/SampleEvent.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace telvora {
namespace {

constexpr long limit = 100;
constexpr long mostUnderWay = 50'000;

double processorNanoseconds()
{
    rusage used {};
    ::getrusage(RUSAGE_SELF, &used);
    const auto nanoseconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_usec) * 1e3;
    };
    return nanoseconds(used.ru_utime) + nanoseconds(used.ru_stime);
}

// Channels that this run alone uses.
class Channels {
public:
    explicit Channels(int count)
    {
        static int last = 0;
        for (int number = 0; number < count; ++number) {
            // Short, as names of channels are: a text of more than 15 characters has memory of its
            // own.
            const std::string index = "channel-" + std::to_string(++last);
            m_channels.push_back(std::make_shared<TrackerConfig>(index, limit, StringDictionary(),
                Array(), false, [] { return std::string("http://collector.example/"); }));
            TrackerManager::shared().register_(m_channels.back());
        }
    }

    const std::string& index(long event) const
    {
        return m_channels[static_cast<std::size_t>(event) % m_channels.size()]->index();
    }

    // How many batches are full when so many events were appended to the channels in turn.
    long fullBatches(long events) const
    {
        const auto count = static_cast<long>(m_channels.size());
        const long least = events / count;
        const long withOneMore = events % count;
        return withOneMore * ((least + 1) / limit) + (count - withOneMore) * (least / limit);
    }

    // Events that were sent and answered, or that are pending because their list is not full.
    long settled() const
    {
        std::int64_t settled = 0;
        for (const auto& channel : m_channels) {
            const LedgerAccount account = channel->ledger().events;
            settled += account.delivered + account.pending;
        }
        return static_cast<long>(settled);
    }

private:
    std::vector<std::shared_ptr<TrackerConfig>> m_channels;
};

// Returns the processor time in nanoseconds.
double processorTime(
    const AnsweringHTTPClient& client, long events, int channelCount, int threadCount)
{
    const Channels channels(channelCount);
    const long answeredBefore = client.answered();
    // Asks the client, because to ask a thousand channels would be part of the figure.
    const auto underWay = [&](long appended) {
        return limit * (channels.fullBatches(appended) - (client.answered() - answeredBefore));
    };
    std::atomic<long> appended { 0 };
    const auto append = [&](long first, long last) {
        for (long event = first; event < last; ++event) {
            TrackerManager::shared().appendTracker(
                buildSampleEvent(static_cast<int>(event)), channels.index(event));
            if (++appended % 10'000 == 0)
                waitUntil(
                    "the backlog to shrink", [&] { return underWay(appended) < mostUnderWay; });
        }
    };

    const double before = processorNanoseconds();
    if (threadCount == 1) {
        append(0, events);
    } else {
        std::latch beginning(threadCount);
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread] {
                beginning.arrive_and_wait();
                append(events * thread / threadCount, events * (thread + 1) / threadCount);
            });
        }
    }
    waitUntil("the last answer", [&] { return underWay(events) == 0; });
    waitUntil("the last event", [&] { return channels.settled() == events; });
    return processorNanoseconds() - before;
}

// Few events are measured often.
void measure(const AnsweringHTTPClient& client, const std::string& name, long events,
    int channelCount, int threadCount)
{
    const long rounds = std::max(1L, 100'000 / events);
    double nanoseconds = 0;
    for (long round = 0; round < rounds; ++round)
        nanoseconds += processorTime(client, events, channelCount, threadCount);
    printFigure("scaling." + name, nanoseconds / static_cast<double>(rounds * events));
}

} // namespace
} // namespace telvora

int main(int count, char** values)
{
    using namespace telvora;
    const Arguments arguments(count, values);
    const long most = arguments.number("--most", 10'000'000);
    const long usual = std::min(most, 1'000'000L);

    checkSampleEvent();
    const AnsweringHTTPClient& client = installAnsweringPlatform();
    measure(client, "first", usual / 10, 1, 1);
    for (const long events : { 1'000L, 10'000L, 100'000L, 1'000'000L, 10'000'000L }) {
        if (events <= most)
            measure(client, "events." + std::to_string(events), events, 1, 1);
    }
    for (const int channels : { 1, 10, 100, 1'000 })
        measure(client, "channels." + std::to_string(channels), usual, channels, 1);
    for (const int threads : { 1, 2, 4, 8, 16, 32, 64 })
        measure(client, "threads." + std::to_string(threads), usual, 1, threads);
}
