#pragma once

#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// A host on the simulated platform. Installed once and never destroyed, as in any process.
inline SimulatedPlatform& simulated()
{
    static auto& platform = []() -> SimulatedPlatform& {
        auto& made = *new SimulatedPlatform;
        installPlatform(made.services());
        return made;
    }();
    return platform;
}

/// The words that tests of the manager share.
class SpineHost : public testing::Test {
protected:
    SpineHost() { simulated(); }

    static TrackerManager& manager() { return TrackerManager::shared(); }

    static std::shared_ptr<TrackerConfig> addChannel(
        const std::string& index, std::int64_t maxLimit, StringDictionary headers = {})
    {
        auto config = std::make_shared<TrackerConfig>(index, maxLimit, std::move(headers), Array(),
            false, [index] { return "http://collector.example/" + index; });
        manager().register_(config);
        return config;
    }

    static Dictionary event(std::int64_t number) { return { { "number", number } }; }

    /// Appends events numbered from `first` and runs what that sets off.
    static void append(const std::string& index, std::int64_t first, std::int64_t count = 1)
    {
        for (std::int64_t number = first; number < first + count; ++number)
            manager().appendTracker(event(number), index);
        simulated().runUntilIdle();
    }

    static void answerAll(const ScriptedAnswer& answer)
    {
        simulated().httpClient().setAnswers({ answer }, true);
    }

    static ScriptedAnswer success() { return ScriptedAnswer::body(R"({"success":true})"); }
    static ScriptedAnswer failure() { return ScriptedAnswer::error("no route"); }

    static std::size_t requestCount() { return simulated().httpClient().requestCount(); }

    static Dictionary body(std::size_t request)
    {
        const auto requests = simulated().httpClient().requests();
        return decode(requests.at(request).body).value.value().get_object();
    }

    /// The numbers of the events in a request's list.
    static std::vector<std::int64_t> numbersIn(
        std::size_t request, const std::string& dataListKey = "data-list")
    {
        std::vector<std::int64_t> numbers;
        const Dictionary batch = body(request);
        for (const Value& event : batch.at(dataListKey).as_array())
            numbers.push_back(event.at("number").as_int64());
        return numbers;
    }

    static LedgerSnapshot ledgerOf(const std::string& index)
    {
        return manager().ledger(index).value();
    }

    static void expectBalanced(const std::string& index)
    {
        const LedgerSnapshot ledger = ledgerOf(index);
        EXPECT_EQ(ledger.events.accepted, ledger.events.accountedFor());
        EXPECT_EQ(ledger.batches.accepted, ledger.batches.accountedFor());
    }
};

} // namespace telvora
