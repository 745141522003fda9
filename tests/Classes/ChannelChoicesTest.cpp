#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

// What a channel may choose beside its constructor's parameters.

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class ChannelChoicesTest : public SimulatedHost {
protected:
    static Dictionary notFinite() { return { { "number", std::nan("") }, { "other", 1 } }; }

    static std::shared_ptr<TrackerConfig> channelTo(TrackerConfig::URLHook urlHook)
    {
        auto config = std::make_shared<TrackerConfig>(
            "E2E", 1, StringDictionary(), Array(), false, std::move(urlHook));
        manager().register_(config);
        return config;
    }

    static std::string headerOf(std::size_t request, const std::string& name)
    {
        const auto requests = simulated().httpClient().requests();
        for (const auto& [candidate, value] : requests.at(request).headers) {
            if (candidate == name)
                return value;
        }
        return "none";
    }
};

TEST_F(ChannelChoicesTest, AnEventWithANumberThatIsNotFiniteIsDroppedAlone)
{
    addChannel("E2E", 2)->setNonFiniteCost(NonFiniteCost::event);
    answerAll(success());
    watchEvents();

    append("E2E", 1);
    manager().appendTracker(notFinite(), "E2E");
    append("E2E", 2);

    EXPECT_EQ(seen.size(), 3u);
    EXPECT_EQ(numbersIn(0), (std::vector<std::int64_t> { 1, 2 }));
    EXPECT_EQ(ledgerOf("E2E").events.dropped.notFinite, 1);
    EXPECT_EQ(ledgerOf("E2E").events.accepted, 3);
    expectBalanced("E2E");
}

TEST_F(ChannelChoicesTest, ANumberThatIsNotFiniteBecomesNull)
{
    const auto channel = addChannel("E2E");
    channel->setCommonData({ { { "c", std::numeric_limits<double>::infinity() } }, "list" });
    channel->setNonFiniteCost(NonFiniteCost::null);
    answerAll(success());
    manager().appendTracker(notFinite(), "E2E");
    simulated().runUntilIdle();

    EXPECT_TRUE(channel->apiDatas().at(0).at("number").is_null());
    TrackerManager::flush(1s);

    EXPECT_EQ(simulated().httpClient().requests().at(0).body.view(),
        R"({"c":null,"list":[{"number":null,"other":1}]})");
}

TEST_F(ChannelChoicesTest, InCommonDataOrARetryEntryOfTheHostTheBatchIsLost)
{
    for (const auto cost : { NonFiniteCost::event, NonFiniteCost::null }) {
        const std::string index = cost == NonFiniteCost::event ? "E2E" : "MP";
        const auto channel = addChannel(index);
        channel->setNonFiniteCost(cost);
        if (cost == NonFiniteCost::event)
            channel->setCommonData({ { { "c", std::nan("") } }, "list" });
        else
            channel->insert(std::make_shared<TrackerRetryData>(makeBatch(notFinite()), 1));
        append(index, 1);
        TrackerManager::flush(1s);

        EXPECT_EQ(ledgerOf(index).batches.dropped.unencodable, 1);
        EXPECT_EQ(ledgerOf(index).events.dropped.notFinite, 0);
    }
}

TEST_F(ChannelChoicesTest, ABadAddressMayFailLikeAServerThatIsNotThere)
{
    std::string url;
    channelTo([&] { return url; })->setBadAddress(BadAddress::fail);
    answerAll(success());
    append("E2E", 1);

    EXPECT_EQ(ledgerOf("E2E").events.waiting, 1);
    const UploadFailure failure = ledgerOf("E2E").lastFailure.value();
    EXPECT_THAT(failure.reason, HasSubstr("cannot be parsed"));
    EXPECT_EQ(failure.status, 0);

    url = "http://collector.example/";
    TrackerManager::flush(1s);
    EXPECT_EQ(ledgerOf("E2E").events.delivered, 1);
}

TEST_F(ChannelChoicesTest, AnAddressCanBeCheckedBeforehand)
{
    const auto errorOf = [](TrackerConfig::URLHook hook) {
        const TrackerConfig config("E2E", 1, {}, Array(), false, std::move(hook));
        return config.addressError().value_or("none");
    };

    EXPECT_EQ(errorOf([] { return "http://collector.example/"; }), "none");
    EXPECT_THAT(errorOf([] { return ""; }), HasSubstr("cannot be parsed"));
    EXPECT_THAT(errorOf([] { return "http://a b/"; }), HasSubstr("`http://a b/`"));
    EXPECT_EQ(errorOf({}), "The channel has no URL hook");
    EXPECT_EQ(
        errorOf([]() -> std::string { throw std::runtime_error("no"); }), "The URL hook threw");
}

TEST_F(ChannelChoicesTest, AllTriesOfABatchHaveOneId)
{
    const auto channel = addChannel("E2E", 1, { { "X-BATCH-ID", "the host's" } });
    channel->setBatchId(true);
    answerAll(failure());
    append("E2E", 1);
    TrackerManager::flush(1s);
    // Taken by the host and given back.
    const TrackerRetryEntry entry = channel->popRetryData();
    simulated().runUntilIdle();
    channel->insert(entry);
    simulated().runUntilIdle();
    answerAll(success());
    TrackerManager::flush(1s);
    append("E2E", 2);

    const std::string id = headerOf(0, "x-batch-id");
    EXPECT_EQ(id.size(), 36u);
    EXPECT_EQ(headerOf(1, "x-batch-id"), id);
    EXPECT_EQ(headerOf(2, "x-batch-id"), id);
    EXPECT_NE(headerOf(3, "x-batch-id"), id);
    EXPECT_EQ(headerOf(0, "X-BATCH-ID"), "none");
    EXPECT_NE(headerOf(1, "x-trace-id"), headerOf(0, "x-trace-id"));
}

TEST_F(ChannelChoicesTest, WithoutAChoiceThereIsNoId)
{
    addChannel("E2E", 1);
    append("E2E", 1);

    EXPECT_EQ(headerOf(0, "x-batch-id"), "none");
}

} // namespace
} // namespace telvora
