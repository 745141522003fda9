// Heap bytes that the library needs beyond the host's data: for each event in a channel's list
// beyond the event's own bytes, and for each batch in the retry cache beyond the batch's own.

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
void measurePending(int events, double own)
{
    const std::string index = "pending-" + std::to_string(events);
    TrackerManager& manager = TrackerManager::shared();
    manager.register_(
        std::make_shared<TrackerConfig>(index, std::numeric_limits<std::int64_t>::max()));
    const double before = heapBytes();
    for (int number = 0; number < events; ++number) {
        manager.appendTracker(makeSampleEvent(number), index);
        if (number % 1000 == 999 || number == events - 1)
            waitUntil("the intake", [&] { return manager.ledger(index)->events.pending > number; });
    }
    printFigure("memory.pending." + std::to_string(events), (heapBytes() - before) / events - own);
}

void measureWaiting(int batches)
{
    TrackerConfig channel("waiting", 100);
    const Batch batch = makeBatch(makeSampleCommonData());
    const double before = heapBytes();
    for (int number = 0; number < batches; ++number) {
        channel.insert(std::make_shared<TrackerRetryData>(batch, 1));
        if (number % 1000 == 999 || number == batches - 1) {
            waitUntil("the retry cache",
                [&] { return channel.retryCache().size() > static_cast<std::size_t>(number); });
        }
    }
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
    installAnsweringPlatform();
    TrackerManager::shared();
    const double own = ownBytesOfAnEvent(10'000);
    printFigure("memory.event", own);
    for (const int many : { 10'000, 100'000, 1'000'000 }) {
        if (many > most)
            continue;
        measurePending(many, own);
        measureWaiting(many);
    }
}
