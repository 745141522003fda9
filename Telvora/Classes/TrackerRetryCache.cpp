#include <Telvora/Classes/TrackerRetryCache.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Classes/Utils/Arrivals.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

#include <new>

namespace telvora {

namespace {

detail::LedgerShare unpacked(std::uint64_t share)
{
    return { static_cast<std::uint32_t>(share >> 32), static_cast<std::uint32_t>(share) };
}

} // namespace

TrackerRetryData::TrackerRetryData(Batch batch, std::int64_t failures)
    : data(std::move(batch))
    , retryCount(failures)
    , timestamp(platform().clock.secondsSince1970())
{
}

void TrackerRetryData::giveShare(detail::LedgerShare share)
{
    m_share.store((static_cast<std::uint64_t>(share.events) << 32) | share.batches,
        std::memory_order_relaxed);
}

detail::LedgerShare TrackerRetryData::takeShare()
{
    return unpacked(m_share.exchange(0, std::memory_order_relaxed));
}

detail::LedgerShare TrackerRetryData::share() const
{
    return unpacked(m_share.load(std::memory_order_relaxed));
}

detail::Held TrackerRetryData::holds() const
{
    return { .events = share().events,
        .batches = 1,
        .bytes = static_cast<std::int64_t>(detail::textBytes(data)) };
}

TrackerRetryCache::TrackerRetryCache(Lost lost)
    : m_state(std::make_unique<State>())
{
    m_state->lost = std::move(lost);
}

TrackerRetryCache::~TrackerRetryCache() = default;

TrackerRetryCache::Taken TrackerRetryCache::take()
{
    State* state = m_state.get();
    Taken taken;
    if (detail::isForkedChild())
        return taken;
    try {
        m_lock.read([&] {
            if (state->priorityQueue.isEmpty())
                return;
            taken.entry = state->priorityQueue[0];
            // Taken before the removal: if removeFirst() finds a share left, no pop returned that
            // entry.
            taken.share = taken.entry->takeShare();
        });
        // Not write(): each tick of an idle process would need a second thread.
        m_lock.writeNowOrLater([state] { state->removeFirst(); });
    } catch (...) {
        if (!taken.share.isEmpty())
            taken.entry->giveShare(taken.share);
        return {};
    }
    return taken;
}

TrackerRetryCache::Taken TrackerRetryCache::takeDue(
    const TrackerRetryEntry& entry, std::chrono::steady_clock::time_point due)
{
    Taken taken;
    if (detail::isForkedChild())
        return taken;
    m_lock.writeSync([&] {
        // Not looked at before it is found: outside the cache its owner may change it.
        if (!m_state->remove(entry, due))
            return;
        taken.share = entry->takeShare();
        if (!taken.share.isEmpty())
            taken.entry = entry;
    });
    return taken;
}

std::vector<TrackerRetryCache::Taken> TrackerRetryCache::takeAll()
{
    std::vector<Taken> taken;
    if (detail::isForkedChild())
        return taken;
    try {
        m_lock.writeSync([&] {
            taken.reserve(m_state->priorityQueue.count());
            m_state->takeAllTo(taken);
        });
    } catch (const std::bad_alloc&) {
        // All stay.
    }
    return taken;
}

void TrackerRetryCache::insert(TrackerRetryEntry data)
{
    if (!data)
        return;
    State* state = m_state.get();
    try {
        m_lock.write([state, data] { state->add(data); });
    } catch (...) {
        state->lose(*data, DropReason::internalError);
    }
}

void TrackerRetryCache::State::add(const TrackerRetryEntry& entry)
{
    try {
        if (entry->arrival == 0)
            entry->arrival = detail::nextArrival();
        if (counts)
            count(entry);
        detail::MutexLock lock(mutex);
        priorityQueue.push(entry);
        size.store(priorityQueue.count(), std::memory_order_relaxed);
    } catch (...) {
        lose(*entry, DropReason::internalError);
    }
}

void TrackerRetryCache::State::removeFirst()
{
    if (priorityQueue.isEmpty())
        return;
    TrackerRetryEntry removed;
    {
        detail::MutexLock lock(mutex);
        removed = *priorityQueue.pop();
        noteRemoved(removed);
    }
    lose(*removed, DropReason::removedUnseen);
}

bool TrackerRetryCache::State::remove(
    const TrackerRetryEntry& entry, std::chrono::steady_clock::time_point due)
{
    detail::MutexLock lock(mutex);
    bool isThere = false;
    for (std::size_t place = 0; place < priorityQueue.count() && !isThere; ++place)
        isThere = priorityQueue[place] == entry;
    if (!isThere || entry->due != due)
        return false;
    priorityQueue.remove(entry);
    noteRemoved(entry);
    return true;
}

void TrackerRetryCache::State::takeAllTo(std::vector<Taken>& taken)
{
    detail::MutexLock lock(mutex);
    while (auto entry = priorityQueue.pop()) {
        const detail::LedgerShare share = (*entry)->takeShare();
        if (!share.isEmpty())
            taken.push_back({ *std::move(entry), share });
    }
    size.store(0, std::memory_order_relaxed);
    byArrival.clear();
    held = {};
}

// Where it throws, nothing has changed.
void TrackerRetryCache::State::count(const TrackerRetryEntry& entry)
{
    const detail::Held holds = entry->holds();
    byArrival.emplace(entry->arrival, entry);
    entry->m_held = holds;
    held += holds;
}

void TrackerRetryCache::State::noteRemoved(const TrackerRetryEntry& entry)
{
    size.store(priorityQueue.count(), std::memory_order_relaxed);
    // Not there until the cache counts.
    const auto place = byArrival.find(entry->arrival);
    if (place == byArrival.end())
        return;
    held -= entry->m_held;
    byArrival.erase(place);
}

// An entry whose share was taken is not lost.
void TrackerRetryCache::State::lose(TrackerRetryData& entry, DropReason reason) const
{
    const detail::LedgerShare share = entry.takeShare();
    if (!share.isEmpty() && lost)
        lost(share, reason);
}

void TrackerRetryCache::forEach(FunctionRef<void(const TrackerRetryEntry&)> change)
{
    if (detail::isForkedChild())
        return;
    m_lock.writeSync([&] {
        detail::MutexLock lock(m_state->mutex);
        for (std::size_t place = 0; place < m_state->priorityQueue.count(); ++place)
            change(m_state->priorityQueue[place]);
    });
}

detail::Held TrackerRetryCache::held()
{
    State* state = m_state.get();
    detail::Held held;
    if (detail::isForkedChild())
        return held;
    // A write, because the first one counts; limits are asked for by one thread at a time.
    m_lock.writeSync([&] {
        if (!state->counts) {
            state->held = {};
            state->byArrival.clear();
            for (std::size_t place = 0; place < state->priorityQueue.count(); ++place)
                state->count(state->priorityQueue[place]);
            state->counts = true;
        }
        held = state->held;
    });
    return held;
}

std::optional<TrackerRetryCache::Waiting> TrackerRetryCache::waiting(
    FunctionRef<bool(const detail::Held&)> isWanted, bool isLast) const
{
    std::optional<Waiting> found;
    if (detail::isForkedChild())
        return found;
    m_lock.read([&] {
        const auto& entries = m_state->byArrival;
        auto place = isLast ? entries.end() : entries.begin();
        for (std::size_t left = entries.size(); left > 0 && !found; --left) {
            const TrackerRetryEntry& entry = isLast ? (--place)->second : (place++)->second;
            // One without a share was popped and is about to be removed.
            if (!entry->share().isEmpty() && isWanted(entry->m_held))
                found = { entry, entry->due, entry->arrival };
        }
    });
    return found;
}

std::vector<TrackerRetryEntry> TrackerRetryCache::entries() const
{
    if (detail::isForkedChild())
        return {};
    const auto copy = [this] {
        detail::MutexLock lock(m_state->mutex);
        return m_state->priorityQueue;
    }();
    std::vector<TrackerRetryEntry> entries;
    entries.reserve(copy.count());
    for (const auto& entry : copy)
        entries.push_back(entry);
    return entries;
}

} // namespace telvora
