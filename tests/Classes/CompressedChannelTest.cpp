#include <Telvora/Base/Gzip.h>

#include <tests/Classes/SimulatedHost.h>

#include <limits>

namespace telvora {
namespace {

using namespace std::chrono_literals;

constexpr double infinity = std::numeric_limits<double>::infinity();

class CompressedChannelTest : public SimulatedHost {
protected:
    static std::shared_ptr<TrackerConfig> addCompressedChannel(
        std::int64_t maxLimit, StringDictionary headers = {})
    {
        const auto config = addChannel("APM", maxLimit, std::move(headers));
        config->setBodyEncoding(BodyEncoding::gzip);
        return config;
    }

    static HTTPRequest request(std::size_t number)
    {
        return simulated().httpClient().requests().at(number);
    }

    static std::string headerOf(const HTTPRequest& request, const std::string& name)
    {
        for (const auto& [itsName, value] : request.headers) {
            if (itsName == name)
                return value;
        }
        return "none";
    }

    static std::string unpacked(const HTTPRequest& request)
    {
        return detail::gunzipped(request.body).value_or("not compressed");
    }
};

TEST_F(CompressedChannelTest, AChannelIsPlainUntilItsHostAsksForCompression)
{
    const auto config = addChannel("APM", 1);
    append("APM", 1);
    EXPECT_EQ(headerOf(request(0), "Content-Encoding"), "none");
    EXPECT_EQ(request(0).body, R"({"data-list":[{"number":1}]})");

    config->setBodyEncoding(BodyEncoding::gzip);
    append("APM", 2);
    EXPECT_EQ(headerOf(request(1), "Content-Encoding"), "gzip");
    EXPECT_EQ(unpacked(request(1)), R"({"data-list":[{"number":2}]})");
}

TEST_F(CompressedChannelTest, TheHeaderReplacesTheChannelsOwn)
{
    addCompressedChannel(1, { { "content-encoding", "br" }, { "other", "1" } });
    append("APM", 1);

    EXPECT_EQ(headerOf(request(0), "Content-Encoding"), "gzip");
    EXPECT_EQ(headerOf(request(0), "content-encoding"), "none");
    EXPECT_EQ(headerOf(request(0), "other"), "1");
    EXPECT_EQ(request(0).hostOnlyHeaders, (std::vector<std::string> { "QVX-UUID", "other" }));
}

TEST_F(CompressedChannelTest, ABatchWaitsForItsRetryCompressed)
{
    const auto config = addCompressedChannel(2);
    answerAll(failure());
    append("APM", 1, 2);
    config->setBodyEncoding(BodyEncoding::plain);
    append("APM", 3); // Sends the retry.

    ASSERT_EQ(requestCount(), 2u);
    EXPECT_EQ(request(1).body.data(), request(0).body.data());
    EXPECT_EQ(headerOf(request(1), "Content-Encoding"), "gzip");
    const auto entries = config->retryCache().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(*entries[0]->data, (Dictionary { { "data-list", { event(1), event(2) } } }));
}

TEST_F(CompressedChannelTest, AFlushAndARetryEntryOfTheHostAreCompressedToo)
{
    const auto config = addCompressedChannel(10);
    TrackerManager::start();
    answerAll(success());
    config->insert(std::make_shared<TrackerRetryData>(makeBatch({ { "n", 1 } }), 1));
    append("APM", 1);
    simulated().advance(60s);

    ASSERT_EQ(requestCount(), 2u);
    EXPECT_EQ(unpacked(request(0)), R"({"n":1})");
    EXPECT_EQ(unpacked(request(1)), R"({"data-list":[{"number":1}]})");
}

TEST_F(CompressedChannelTest, AnEventThatCannotBeEncodedIsShownAndDroppedAsInAPlainChannel)
{
    std::vector<Array> shown;
    std::shared_ptr<TrackerConfig> config;
    config = std::make_shared<TrackerConfig>("APM", 2, StringDictionary(), Array(), false, [&] {
        shown.push_back(config->apiDatas());
        return std::string("http://collector.example/");
    });
    manager().register_(config);
    config->setBodyEncoding(BodyEncoding::gzip);
    append("APM", 1);
    manager().appendTracker({ { "n", infinity } }, "APM");
    simulated().runUntilIdle();

    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0], (Array { event(1), { { "n", infinity } } }));
    EXPECT_EQ(requestCount(), 0u);
    EXPECT_EQ(ledgerOf("APM").events.dropped.unencodable, 2);
}

} // namespace
} // namespace telvora
