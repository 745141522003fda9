#include <Telvora/Start/StartTelvora.h>

#include <tests/Classes/SimulatedHost.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;

class StartTelvoraTest : public SimulatedHost {
protected:
    StartTelvoraTest() { answerAll(success()); }

    static StartResult start(TelvoraOptions options)
    {
        return startTelvora(std::move(options), simulated().services());
    }

    static std::string header(std::size_t request, std::string_view name)
    {
        const auto requests = simulated().httpClient().requests();
        for (const auto& [known, value] : requests.at(request).headers) {
            if (known == name)
                return value;
        }
        return "absent";
    }

    static constexpr const char* url = "http://collector.example/e2e";
};

TEST_F(StartTelvoraTest, AChannelOfTheOptionsSendsItsEvents)
{
    const StartResult result
        = start({ .channels = { { .index = "E2E", .limit = 2, .url = url } } });
    append("E2E", 1, 2);

    EXPECT_TRUE(result);
    EXPECT_EQ(result.text(), "");
    EXPECT_EQ(simulated().httpClient().requests().at(0).url, url);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
}

TEST_F(StartTelvoraTest, AChannelWithoutALimitSendsWithTheTwentiethEventOrTheTimer)
{
    ASSERT_TRUE(start({ .channels = { { .index = "E2E", .url = url } } }));

    append("E2E", 1, 19);
    EXPECT_EQ(requestCount(), 0u);
    append("E2E", 20);
    EXPECT_EQ(numbersIn(0).size(), 20u);
    append("E2E", 21);
    simulated().advance(60s);
    EXPECT_EQ(numbersIn(1).size(), 1u);
}

TEST_F(StartTelvoraTest, AnAddressOfAClosureIsAskedForEachRequest)
{
    int calls = 0;
    ASSERT_TRUE(start({ .channels = { { .index = "E2E", .limit = 1, .url = [&] {
                                           return "http://a.example/" + std::to_string(++calls);
                                       } } } }));

    append("E2E", 1);
    append("E2E", 2);

    EXPECT_EQ(simulated().httpClient().requests().at(0).url, "http://a.example/1");
    EXPECT_EQ(simulated().httpClient().requests().at(1).url, "http://a.example/2");
}

TEST_F(StartTelvoraTest, HeadersAndIdentifierReachEachRequest)
{
    ASSERT_TRUE(start({
        .channels
        = { { .index = "E2E", .limit = 1, .url = url, .headers = { { "X-Channel", "e2e" } } } },
        .headers = { { "X-All", "yes" }, { "X-Channel", "none" } },
        .identifier = [] { return "installation-42"; },
    }));

    append("E2E", 1);

    EXPECT_EQ(header(0, "X-Channel"), "e2e");
    EXPECT_EQ(header(0, "X-All"), "yes");
    EXPECT_EQ(header(0, "QVX-UUID"), "installation-42");
}

TEST_F(StartTelvoraTest, ACompressedChannelSaysSo)
{
    ASSERT_TRUE(start({ .channels
        = { { .index = "E2E", .limit = 1, .url = url, .encoding = BodyEncoding::gzip } } }));

    append("E2E", 1);

    EXPECT_EQ(header(0, "Content-Encoding"), "gzip");
}

TEST_F(StartTelvoraTest, StandardDataAreThoseOfTheSetUpOfTheSameName)
{
    ASSERT_TRUE(start({
        .channels = { { .index = "APM", .url = url, .standardData = StandardData::standard },
            { .index = "MP", .url = url, .standardData = StandardData::standard },
            { .index = "E2E", .url = url, .standardData = StandardData::standard },
            { .index = "Sentry", .url = url, .standardData = StandardData::standard },
            { .index = "own", .url = url, .standardData = StandardData::standard } },
        .identifier = [] { return "B-1"; },
    }));

    const std::vector<std::string> keys = keysOf(manager().getCommonE2EDatas());
    for (const auto& [index, listKey] :
        { std::pair("APM", "data"), std::pair("MP", "data-list"), std::pair("E2E", "data"),
            std::pair("Sentry", "data"), std::pair("own", "data-list") }) {
        const auto data = manager().config(index)->commonData();
        EXPECT_EQ(keysOf(data->commonDatas), keys) << index;
        EXPECT_EQ(data->commonDatas.at("buid"), "B-1") << index;
        EXPECT_EQ(data->dataListKey, listKey) << index;
    }
}

TEST_F(StartTelvoraTest, SentryMayHaveTheDataForTheFrontEndMonitor)
{
    ASSERT_TRUE(start({ .channels
        = { { .index = "Sentry", .url = url, .standardData = StandardData::frontEndMonitor } } }));

    const auto data = manager().config("Sentry")->commonData();
    EXPECT_EQ(data->dataListKey, "data-list");
    EXPECT_TRUE(data->commonDatas.contains("bundleId"));
}

TEST_F(StartTelvoraTest, AChannelHasNoCommonDataUnlessItIsToldTo)
{
    ASSERT_TRUE(start({ .channels = { { .index = "E2E", .url = url } } }));

    const auto data = manager().config("E2E")->commonData();
    EXPECT_EQ(data->commonDatas, Dictionary());
    EXPECT_EQ(data->dataListKey, "data-list");
}

TEST_F(StartTelvoraTest, TheHostsCommonDataAndListKeyWinOverTheStandardOnes)
{
    ASSERT_TRUE(start({ .channels = { { .index = "E2E",
                                          .url = url,
                                          .standardData = StandardData::standard,
                                          .commonData = { { "client", "desktop" }, { "desk", 7 } },
                                          .listKey = "events" },
                            { .index = "own", .url = url, .commonData = { { "a", 1 } } } } }));

    const auto e2e = manager().config("E2E")->commonData();
    EXPECT_EQ(e2e->commonDatas.at("client"), "desktop");
    EXPECT_EQ(e2e->commonDatas.at("desk"), 7);
    EXPECT_TRUE(e2e->commonDatas.contains("session"));
    EXPECT_EQ(e2e->dataListKey, "events");
    const auto own = manager().config("own")->commonData();
    EXPECT_EQ(own->commonDatas, (Dictionary { { "a", 1 } }));
    EXPECT_EQ(own->dataListKey, "data-list");
}

TEST_F(StartTelvoraTest, TheHooksOfAChannelAreCalled)
{
    std::vector<std::string> calls;
    ASSERT_TRUE(start({ .channels = { { .index = "E2E",
                            .url = url,
                            .onStart = [&] { calls.emplace_back("start"); },
                            .onStop = [&] { calls.emplace_back("stop"); },
                            .onRestart = [&] { calls.emplace_back("restart"); } } } }));

    enterBackground();
    enterForeground();

    EXPECT_EQ(calls, (std::vector<std::string> { "start", "stop", "restart" }));
}

TEST_F(StartTelvoraTest, ModeLogDiagnosticsEventsAndProviderAreInstalled)
{
    const auto log = std::make_shared<RecordingLogService>();
    const auto provider = std::make_shared<RecordingProvider>();
    std::vector<Diagnostic::Kind> diagnostics;
    std::vector<std::string> indexes;
    answerAll(failure());

    ASSERT_TRUE(start({
        .channels = { { .index = "APM" }, { .index = "E2E", .limit = 1, .url = url } },
        .mode = TrackerMode::debug,
        .log = log,
        .onDiagnostic = [&](const Diagnostic& told) { diagnostics.push_back(told.kind); },
        .onEvent = [&](const Dictionary&, const std::string& index) { indexes.push_back(index); },
        .reportingProvider = provider,
    }));
    append("E2E", 1);
    manager().enrollPageViewTrack("Page");
    simulated().advance(1s);

    EXPECT_EQ(provider->only().at("ipaMode"), "DEBUG");
    EXPECT_EQ(log->initCount, 1);
    EXPECT_NE(std::find_if(log->lines.begin(), log->lines.end(),
                  [](const std::string& line) {
                      return line.find("Tracker Manager Start") != std::string::npos;
                  }),
        log->lines.end());
    EXPECT_EQ(diagnostics, std::vector { Diagnostic::Kind::uploadFailed });
    EXPECT_EQ(indexes, std::vector<std::string> { "E2E" });
}

TEST_F(StartTelvoraTest, WhatIsLeftOutStaysAsTheHostHasSetIt)
{
    manager().setMode(TrackerMode::debug);
    TrackerManager::configHeaders({ { "X-All", "yes" } });
    manager().setQvxUuid([] { return "installation-42"; });

    ASSERT_TRUE(start({ .channels = { { .index = "E2E", .limit = 1, .url = url } } }));
    append("E2E", 1);

    EXPECT_EQ(TrackerConfiguration::mode(), TrackerMode::debug);
    EXPECT_EQ(header(0, "X-All"), "yes");
    EXPECT_EQ(header(0, "QVX-UUID"), "installation-42");
}

TEST_F(StartTelvoraTest, AHookThatThrowsDoesNotKeepTheLibraryFromStarting)
{
    const StartResult result = start({ .channels = { { .index = "E2E", .url = url, .onStart = [] {
                                                          throw std::runtime_error("host");
                                                      } } } });

    EXPECT_TRUE(result);
    EXPECT_EQ(ledgerOf("E2E").hostExceptions, 1);
    EXPECT_TRUE(manager().trackerTimer().isRunning());
}

} // namespace
} // namespace telvora
