// Heap bytes of an event in a channel's list, and of a batch of 100 events in the retry cache.
// Beside them the bytes of the event that the host hands over, as a Dictionary.

#include <Telvora/Telvora.h>

#include <benchmarks/AnsweringPlatform.h>
#include <benchmarks/Figures.h>
#include <benchmarks/SampleEvent.h>

#include <cstdint>
#include <limits>
#include <malloc.h>
#include <vector>

namespace telvora {
namespace {

constexpr int eventsOfABatch = 100;

double heapBytes()
{
    const auto info = ::mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

// The holder's own memory is allocated before, so that it does not count.
double ownBytesOfAnEvent(int events)
{
    std::vector<Dictionary> holder;
    holder.reserve(static_cast<std::size_t>(events));
    const double before = heapBytes();
    for (int number = 0; number < events; ++number)
        holder.push_back(makeSampleEvent(number));
    return (heapBytes() - before) / events;
}

// Appends in portions, so that blocks waiting on the queue do not add to the figure.
void append(const std::string& index, int events)
{
    TrackerManager& manager = TrackerManager::shared();
    for (int number = 0; number < events; ++number) {
        manager.appendTracker(buildSampleEvent(number), index);
        if (number % 1000 == 999 || number == events - 1)
            waitUntil(
                "the intake", [&] { return manager.ledger(index)->events.accepted > number; });
    }
}

void measurePending(int events)
{
    const std::string index = "pending-" + std::to_string(events);
    TrackerManager::shared().register_(
        std::make_shared<TrackerConfig>(index, std::numeric_limits<std::int64_t>::max()));
    const double before = heapBytes();
    append(index, events);
    printFigure("memory.pending." + std::to_string(events), (heapBytes() - before) / events);
}

// Each event also lets one batch that waits be tried again, so the batches are more than a few.
void measureWaiting(int batches)
{
    const std::string index = "waiting-" + std::to_string(batches);
    TrackerManager& manager = TrackerManager::shared();
    const auto channel = std::make_shared<TrackerConfig>(index, eventsOfABatch, StringDictionary(),
        Array(), false, [] { return std::string("http://collector.example/"); });
    manager.register_(channel);
    manager.setupCommonDatas(makeSampleCommonData(), "data", index);
    const double before = heapBytes();
    std::vector<TrackerRetryEntry> entries;
    for (int batch = 0; batch < batches; ++batch) {
        append(index, eventsOfABatch);
        waitUntil("the retry cache", [&] { return channel->retryCache().size() > 0; });
        entries.push_back(channel->popRetryData());
    }
    for (TrackerRetryEntry& entry : entries)
        channel->insert(std::move(entry));
    waitUntil("the retry cache",
        [&] { return channel->retryCache().size() == static_cast<std::size_t>(batches); });
    printFigure("memory.waiting." + std::to_string(batches), (heapBytes() - before) / batches);
}

} // namespace
} // namespace telvora

int main(int count, char** values)
{
    using namespace telvora;
    const Arguments arguments(count, values);
    const int most = static_cast<int>(arguments.number("--most", 1'000'000));

    checkSampleEvent();
    installAnsweringPlatform({}, "{}");
    TrackerManager::shared();
    printFigure("memory.event", ownBytesOfAnEvent(10'000));
    for (const int many : { 10'000, 100'000, 1'000'000 }) {
        if (many <= most)
            measurePending(many);
    }
    // Their events are whole groups of those that the intake destroys together, so none that is not
    // destroyed yet adds to the figure.
    for (const int many : { 64, 640 })
        measureWaiting(many);
}
