#pragma once

#include <tests/Classes/SimulatedHost.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace telvora {

/// A host with limits, and what its channels keep.
class LimitsHost : public SimulatedHost {
protected:
    using Numbers = std::vector<std::int64_t>;

    static Numbers numbersOf(const Array& events)
    {
        Numbers numbers;
        for (const Value& event : events)
            numbers.push_back(event.at("number").as_int64());
        return numbers;
    }

    static Numbers pending(const std::shared_ptr<TrackerConfig>& channel)
    {
        return numbersOf(channel->apiDatas());
    }

    /// The numbers of the events in each waiting batch, in the order of popping.
    static std::vector<Numbers> waiting(const std::shared_ptr<TrackerConfig>& channel)
    {
        std::vector<Numbers> waiting;
        for (const TrackerRetryEntry& entry : channel->retryCache().entries())
            waiting.push_back(numbersOf(entry->data->at("data-list").as_array()));
        return waiting;
    }

    /// Adds a channel with one waiting batch of the events `first` to `last`.
    static std::shared_ptr<TrackerConfig> addChannelWithBatch(
        const std::string& index, std::int64_t first, std::int64_t last)
    {
        const auto channel = addChannel(index);
        failBatch(channel, first, last);
        return channel;
    }

    /// Makes a waiting batch of further events.
    static void failBatch(
        const std::shared_ptr<TrackerConfig>& channel, std::int64_t first, std::int64_t last)
    {
        answerAll(failure());
        append(channel->index(), first, last - first + 1);
        manager().timerEventHandler(channel);
        simulated().runUntilIdle();
    }

    static void setLimits(const std::shared_ptr<TrackerConfig>& channel, const Limits& limits)
    {
        channel->setLimits(limits);
        simulated().runUntilIdle();
    }

    static void setLimitsOfAll(const Limits& limits)
    {
        TrackerManager::setLimits(limits);
        simulated().runUntilIdle();
    }

    static std::int64_t overLimit(const std::string& index)
    {
        return ledgerOf(index).events.dropped.overLimit;
    }
};

} // namespace telvora
