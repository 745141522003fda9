#pragma once

#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// Keeps the lines it is given.
class RecordingLogService final : public LogService {
public:
    void loggerInit() override { ++initCount; }
    void log(unsigned level, const std::string& message) override
    {
        levels.push_back(level);
        lines.push_back(message);
    }

    int initCount = 0;
    std::vector<unsigned> levels;
    std::vector<std::string> lines;
};

/// Keeps the reports it is given, or throws them away with an exception.
class RecordingProvider final : public QVXOstraProviderProtocol {
public:
    void report(const std::string& name, const std::string& content) override
    {
        if (throws)
            throw std::runtime_error("the service is down");
        names.push_back(name);
        contents.push_back(content);
    }

    Dictionary only() const
    {
        EXPECT_EQ(contents.size(), 1u);
        return contents.size() == 1 ? decode(contents.front()).value->as_object() : Dictionary();
    }

    bool throws = false;
    std::vector<std::string> names;
    std::vector<std::string> contents;
};

/// A host on a simulated platform, which is installed before anything else happens. Every case has
/// a process of its own, so the shared objects are fresh.
class SimulatedHost : public testing::Test {
protected:
    struct Seen {
        std::string index;
        Dictionary event;
    };

    SimulatedHost() { installPlatform(simulated.services()); }

    static TrackerManager& manager() { return TrackerManager::shared(); }

    std::shared_ptr<TrackerConfig> registerChannel(
        const std::string& index, std::int64_t maxLimit = 1000)
    {
        auto config = std::make_shared<TrackerConfig>(index, maxLimit, StringDictionary(), Array(),
            false, [index] { return "http://collector.test/" + index; });
        manager().register_(config);
        return config;
    }

    /// Keeps every event that passes the intake from now on.
    void watchEvents()
    {
        TrackerManager::setTriggerCallback(
            [this](const Dictionary& event, const std::string& index) {
                seen.push_back({ index, event });
            });
    }

    /// The one event that passed since watchEvents(), after all queued work has run.
    Seen onlyEvent()
    {
        simulated.runUntilIdle();
        EXPECT_EQ(seen.size(), 1u);
        return seen.size() == 1 ? seen.front() : Seen();
    }

    std::shared_ptr<RecordingLogService> listen()
    {
        auto service = std::make_shared<RecordingLogService>();
        QuorvexLog::setLogService(service);
        QuorvexLog::configLogger();
        return service;
    }

    std::shared_ptr<RecordingProvider> installProvider()
    {
        auto provider = std::make_shared<RecordingProvider>();
        manager().setupOstra(provider);
        return provider;
    }

    /// A live screen of that class, on top.
    void showPage(const std::string& className, StringDictionary params = {})
    {
        simulated.screens().make(className);
        TrackerDataExcavator::setTopViewControllerInfo(
            ViewControllerInfo { simulated.screens().screen(className), std::move(params) });
    }

    static std::vector<std::string> keysOf(const Dictionary& dictionary)
    {
        std::vector<std::string> keys;
        for (const auto& member : dictionary)
            keys.emplace_back(member.key());
        return keys;
    }

    // Never destroyed: the library's shared objects hold on to it.
    SimulatedPlatform& simulated = *new SimulatedPlatform;
    std::vector<Seen> seen;
};

} // namespace telvora
