#include <tools/collector/Store.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace telvora::collector {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t plenty = std::size_t { 64 } << 20U;

class StoreTest : public testing::Test {
protected:
    Store::Ticket add(std::string path, std::uint64_t events, std::string traceID = {})
    {
        Request request;
        request.method = "POST";
        request.target = std::move(path);
        request.verdict.events = events;
        request.verdict.traceID = std::move(traceID);
        return store.add(std::move(request));
    }

    boost::json::object counts(const char* path)
    {
        return store.summary().at("paths").at(path).as_object();
    }

    std::vector<std::uint64_t> numbersSince(std::uint64_t since, const Filter& filter = {})
    {
        const auto listing = boost::json::parse(store.requestsSince(since, plenty, filter));
        std::vector<std::uint64_t> numbers;
        for (const auto& request : listing.at("requests").as_array())
            numbers.push_back(request.at("number").to_number<std::uint64_t>());
        return numbers;
    }

    Store store { plenty };
};

TEST_F(StoreTest, CountsEachPathByItself)
{
    store.settle(add("/a?x=1", 3), Outcome::accepted);
    store.settle(add("/a", 2), Outcome::rejected);
    add("/b", 5);

    EXPECT_EQ(counts("/a").at("requests"), 2);
    EXPECT_EQ(counts("/a").at("events"), 5);
    EXPECT_EQ(counts("/a").at("accepted").at("events"), 3);
    EXPECT_EQ(counts("/a").at("rejected").at("events"), 2);
    EXPECT_EQ(counts("/b").at("pending").at("events"), 5);
    EXPECT_EQ(store.requestCount(), 3U);
    EXPECT_EQ(store.settledCount(), 2U);
    EXPECT_EQ(store.acceptedEventCount(), 3U);
}

TEST_F(StoreTest, CountsRequestsByTheRuleApplied)
{
    Request request;
    request.target = "/a";
    request.rule = "no JSON";
    store.add(request);
    store.add(request);
    add("/a", 1);

    EXPECT_EQ(counts("/a").at("faults"), boost::json::value({ { "no JSON", 2 } }));
}

TEST_F(StoreTest, ListsRequestsAfterANumber)
{
    for (int i = 0; i < 4; ++i)
        add("/a", 1);

    EXPECT_THAT(numbersSince(0), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(numbersSince(2), ElementsAre(3, 4));
    EXPECT_THAT(numbersSince(9), IsEmpty());
}

TEST_F(StoreTest, ListsInPagesThatSayWhetherThereIsMore)
{
    for (int i = 0; i < 3; ++i)
        add("/a", 1);

    const auto page = boost::json::parse(store.requestsSince(1, 20));

    EXPECT_EQ(page.at("requests").as_array().size(), 1U);
    EXPECT_EQ(page.at("last"), 2);
    EXPECT_EQ(page.at("more"), true);
}

TEST_F(StoreTest, ListsThePathsThatBeginAsTheFilterSays)
{
    for (const char* path : { "/a", "/a/b?x=/c", "/c", "/a%20b", "/%61?", "*" })
        add(path, 1);

    EXPECT_THAT(numbersSince(0, { "/a", {} }), ElementsAre(1, 2, 4, 5));
    EXPECT_THAT(numbersSince(2, { "/a", {} }), ElementsAre(4, 5));
    EXPECT_THAT(numbersSince(0, { "/a/b?", {} }), IsEmpty());
    EXPECT_THAT(numbersSince(0, { "/a%20b", {} }), ElementsAre(4));
    EXPECT_THAT(numbersSince(0, { "/a b", {} }), ElementsAre(4));
    EXPECT_THAT(numbersSince(0, { std::string("/a\0", 3), {} }), IsEmpty());
    EXPECT_THAT(numbersSince(0, { "", {} }), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(StoreTest, ListsCorrectBatchesOrTheOthers)
{
    add("/a", 1, "T");
    add("/b", 1, "T");
    add("/a", 1, "U");
    add("/a", 1, "U");

    EXPECT_THAT(numbersSince(0, { "", true }), ElementsAre(1, 3));
    EXPECT_THAT(numbersSince(0, { "", false }), ElementsAre(2, 4));
    EXPECT_THAT(numbersSince(0, { "/a", false }), ElementsAre(4));
}

TEST_F(StoreTest, AFilteredListingSaysHowFarItLooked)
{
    for (const char* path : { "/a", "/b", "/a", "/b", "/b" })
        add(path, 1);

    const auto first = boost::json::parse(store.requestsSince(0, 20, { "/a", {} }));
    EXPECT_EQ(first.at("last"), 1);
    EXPECT_EQ(first.at("more"), true);
    const auto second = boost::json::parse(store.requestsSince(1, 20, { "/a", {} }));
    EXPECT_EQ(second.at("last"), 3);
    EXPECT_EQ(second.at("more"), true);
    const auto third = boost::json::parse(store.requestsSince(3, 20, { "/a", {} }));
    EXPECT_EQ(third.at("last"), 5);
    EXPECT_EQ(third.at("more"), false);
    EXPECT_TRUE(third.at("requests").as_array().empty());
}

TEST_F(StoreTest, ForgetsTheOldestButCountsThemAll)
{
    store = Store(100'000);
    for (int i = 0; i < 100; ++i) {
        Request request;
        request.target = "/a";
        request.body.assign(10'000, 'x');
        store.settle(store.add(std::move(request)), Outcome::accepted);
    }

    EXPECT_EQ(counts("/a").at("requests"), 100);
    EXPECT_EQ(counts("/a").at("accepted").at("batches"), 100);
    EXPECT_LE(store.keptBytes(), 100'000U);
    const auto numbers = numbersSince(0);
    ASSERT_GE(numbers.size(), 5U);
    EXPECT_EQ(numbers.back(), 100U);
    EXPECT_EQ(numbers.front(), 101U - numbers.size());
    EXPECT_THAT(numbersSince(98), ElementsAre(99, 100));
}

TEST_F(StoreTest, KeepsNothingWithoutMemoryAndStillSettles)
{
    store = Store(0);
    store.settle(add("/a", 2), Outcome::accepted);

    EXPECT_THAT(numbersSince(0), IsEmpty());
    EXPECT_EQ(store.acceptedEventCount(), 2U);
}

TEST_F(StoreTest, ATraceIDSeenTwiceIsAProblem)
{
    store.settle(add("/a", 1, "T"), Outcome::accepted);
    const auto ticket = add("/a", 1, "T");

    EXPECT_THAT(ticket.request->verdict.problems, ElementsAre("x-trace-id was seen before"));
    EXPECT_EQ(counts("/a").at("badVerdicts"), 1);
}

TEST_F(StoreTest, ARequestResentAfterNoByteOfAnAnswerIsNoProblem)
{
    store.settle(add("/a", 1, "T"), Outcome::undelivered);
    const auto again = add("/a", 1, "T");
    EXPECT_TRUE(again.request->verdict.isOk());
    EXPECT_TRUE(again.request->isResent);

    store.settle(again, Outcome::accepted);
    EXPECT_FALSE(add("/a", 1, "T").request->verdict.isOk());
}

TEST_F(StoreTest, ARequestResentAfterHalfAnAnswerIsAProblem)
{
    const auto ticket = add("/a", 1, "T");
    ticket.request->hasAnswerBegun = true;
    store.settle(ticket, Outcome::undelivered);

    EXPECT_FALSE(add("/a", 1, "T").request->verdict.isOk());
}

TEST_F(StoreTest, AResetForgetsEverythingAndIgnoresPendingRequests)
{
    const auto old = add("/a", 3, "T");
    store.reset();
    store.settle(old, Outcome::accepted);

    EXPECT_EQ(store.acceptedEventCount(), 0U);
    EXPECT_THAT(numbersSince(0), IsEmpty());
    const auto ticket = add("/a", 1, "T");
    EXPECT_EQ(ticket.request->number, 1U);
    EXPECT_TRUE(ticket.request->verdict.isOk());
}

TEST_F(StoreTest, CountsPathsBeyondTheLimitTogether)
{
    for (int i = 0; i < 1100; ++i)
        add("/" + std::to_string(i), 1);

    EXPECT_EQ(store.summary().at("paths").as_object().size(), 1001U);
    EXPECT_EQ(counts("*").at("requests"), 100);
}

TEST_F(StoreTest, ShowsTextThatIsNotUTF8AsBytes)
{
    Request request;
    request.target = "/\xFF";
    request.headers = { { "a", "\xC3\xA4" }, { "b", "\xE4" } };
    request.body = "\x01\xFF";
    store.add(std::move(request));

    const auto listing = boost::json::parse(store.requestsSince(0, plenty));
    const auto& told = listing.at("requests").at(0);
    EXPECT_EQ(boost::json::serialize(told.at("body")), R"({"$bytes":"01ff"})");
    EXPECT_EQ(boost::json::serialize(told.at("path")), R"({"$bytes":"2fff"})");
    EXPECT_EQ(boost::json::serialize(told.at("headers")), R"([["a","ä"],["b",{"$bytes":"e4"}]])");
    EXPECT_EQ(store.summary().at("paths").as_object().size(), 1U);
}

} // namespace
} // namespace telvora::collector
