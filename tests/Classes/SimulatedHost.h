#pragma once

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <tests/Classes/Recorders.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// The simulated platform of this process, installed by the first call. Never destroyed, because
/// the library's shared objects still use it.
inline SimulatedPlatform& simulated()
{
    static auto& platform = []() -> SimulatedPlatform& {
        auto& made = *new SimulatedPlatform;
        installPlatform(made.services());
        return made;
    }();
    return platform;
}

/// A host on the simulated platform, with the helpers that tests share. Every case runs in its own
/// process, so the library's shared objects are new.
class SimulatedHost : public testing::Test {
protected:
    struct Seen {
        std::string index;
        Dictionary event;
    };

    SimulatedHost() { simulated(); }

    static TrackerManager& manager() { return TrackerManager::shared(); }

    /// Registers a channel that posts to http://collector.example/INDEX.
    static std::shared_ptr<TrackerConfig> addChannel(
        const std::string& index, std::int64_t maxLimit = 1000, StringDictionary headers = {})
    {
        auto config = std::make_shared<TrackerConfig>(index, maxLimit, std::move(headers), Array(),
            false, [index] { return "http://collector.example/" + index; });
        manager().register_(config);
        return config;
    }

    static Dictionary event(std::int64_t number) { return { { "number", number } }; }

    /// Appends events numbered from `first` and runs all queued work.
    static void append(const std::string& index, std::int64_t first, std::int64_t count = 1)
    {
        for (std::int64_t number = first; number < first + count; ++number)
            manager().appendTracker(event(number), index);
        simulated().runUntilIdle();
    }

    /// The application moves, and all queued work runs.
    static void enterBackground()
    {
        simulated().notificationCenter().post(Notification::didEnterBackground);
        simulated().runUntilIdle();
    }

    static void enterForeground()
    {
        simulated().notificationCenter().post(Notification::willEnterForeground);
        simulated().runUntilIdle();
    }

    /// Records in `seen` every event that passes the intake from now on.
    void watchEvents()
    {
        TrackerManager::setTriggerCallback(
            [events = m_seen](const Dictionary& event, const std::string& index) {
                events->push_back({ index, event });
            });
    }

    /// The one event that passed since watchEvents(), after all queued work has run.
    Seen onlyEvent()
    {
        simulated().runUntilIdle();
        EXPECT_EQ(seen.size(), 1u);
        return seen.size() == 1 ? seen.front() : Seen();
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

    static std::shared_ptr<RecordingLogService> listen()
    {
        auto service = std::make_shared<RecordingLogService>();
        QuorvexLog::setLogService(service);
        QuorvexLog::configLogger();
        return service;
    }

    static std::shared_ptr<RecordingProvider> installProvider()
    {
        auto provider = std::make_shared<RecordingProvider>();
        manager().setupOstra(provider);
        return provider;
    }

    /// Makes a screen of that class and puts it on top.
    static void showPage(const std::string& className, StringDictionary params = {})
    {
        simulated().screens().make(className);
        TrackerDataExcavator::setTopViewControllerInfo(
            ViewControllerInfo { simulated().screens().screen(className), std::move(params) });
    }

    static std::vector<std::string> keysOf(const Dictionary& dictionary)
    {
        std::vector<std::string> keys;
        for (const auto& member : dictionary)
            keys.emplace_back(member.key());
        return keys;
    }

private:
    // Shared with the trigger callback, which may outlive the fixture.
    const std::shared_ptr<std::vector<Seen>> m_seen = std::make_shared<std::vector<Seen>>();

protected:
    std::vector<Seen>& seen = *m_seen;
};

} // namespace telvora
