#include <tests/Tools/CollectorProgram.h>

#include <tools/collector/Query.h>

#include <boost/json/parse.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace telvora::tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

using collector::percentDecoded;
using collector::Query;
using collector::QueryError;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Why a query of "path", "since" and "timeout" is refused.
std::string problemOf(std::string_view target)
{
    try {
        const Query query(target, { "path", "since", "timeout" });
        query.count("since", 0);
        query.duration("timeout", 0s, 1h);
    } catch (const QueryError& error) {
        return error.what();
    }
    return "no problem";
}

TEST(CollectorQueryTest, DecodesPercentEscapesOnce)
{
    EXPECT_EQ(percentDecoded("/a%2Fb%2fc"), "/a/b/c");
    EXPECT_EQ(percentDecoded("%2541"), "%41");
    EXPECT_EQ(percentDecoded("a+b"), "a+b");
    EXPECT_EQ(percentDecoded("a%00b"), "a\0b"s);
    EXPECT_EQ(percentDecoded("%FF"), "\xFF");
    EXPECT_EQ(percentDecoded(""), "");
    for (const char* text : { "%", "%4", "a%", "%zz", "%4g", "%%41", "% 1", "%-1" })
        EXPECT_FALSE(percentDecoded(text)) << text;
}

TEST(CollectorQueryTest, HasNamesAndValuesInAnyOrder)
{
    const Query query("/x?&since=7&&%70ath=a%26b=c&", { "path", "since", "timeout" });

    EXPECT_EQ(query.text("path"), "a&b=c");
    EXPECT_EQ(query.count("since", 0), 7U);
    EXPECT_EQ(query.duration("timeout", 30s, 1h), 30s);
    EXPECT_FALSE(query.text("timeout"));
    EXPECT_FALSE(Query("/x", { "path" }).text("path"));
    EXPECT_EQ(Query("/x?path=", { "path" }).text("path"), "");
}

TEST(CollectorQueryTest, TakesDurationsInSecondsOrWithAUnit)
{
    const auto timeout = [](std::string_view target) {
        return Query(target, { "timeout" }).duration("timeout", 30s, 1h);
    };

    EXPECT_EQ(timeout("?timeout=0.25"), 250ms);
    EXPECT_EQ(timeout("?timeout=250ms"), 250ms);
    EXPECT_EQ(timeout("?timeout=2%20min"), 2min);
    EXPECT_EQ(timeout("?timeout=3600"), 1h);
}

TEST(CollectorQueryTest, SaysWhatIsWrong)
{
    EXPECT_EQ(problemOf("?paht=x"), R"(unknown parameter "paht"; there are path, since, timeout)");
    EXPECT_EQ(problemOf("?path=a&path=a"), "path is given twice");
    EXPECT_EQ(problemOf("?path"), "path has no value");
    EXPECT_EQ(problemOf("?=x"), R"(unknown parameter ""; there are path, since, timeout)");
    EXPECT_EQ(problemOf("?path=%4"), R"(a % without two hexadecimal digits in "%4")");
    EXPECT_EQ(problemOf("?pa%th=x"), R"(a % without two hexadecimal digits in "pa%th")");
    for (const char* value : { "", "x", "-1", "1x", "nan", "inf", "1e300", "1%00" })
        EXPECT_EQ(problemOf("?since="s + value), "since must be a number from 0") << value;
    for (const char* value : { "", "x", "-1", "3m", "nan", "inf", "3601", "2h", "1s%00" })
        EXPECT_THAT(problemOf("?timeout="s + value), StartsWith("timeout must be a number of"))
            << value;
}

TEST(CollectorQueryTest, AWrongQueryGetsStatus400AndTheReason)
{
    const CollectorProgram program;
    Wire wire(program.controlPort());
    const auto problem = [&](std::string_view target) {
        const Wire::Reply reply = wire.exchange(get(target));
        EXPECT_EQ(reply.status, 400) << target;
        return std::string(boost::json::parse(reply.body).at("error").as_string());
    };

    EXPECT_EQ(problem("/_telvora/wait?acceptedevents=1"),
        "unknown parameter \"acceptedevents\"; there are requests, events, acceptedEvents, "
        "settled, timeout");
    EXPECT_EQ(problem("/_telvora/requests?since=%"), "a % without two hexadecimal digits in \"%\"");
    EXPECT_THAT(problem("/_telvora/requests?%1B%FF%00=1"), HasSubstr(R"("\x1b\xff\x00")"));
}

TEST(CollectorQueryTest, RequestsAreFilteredByPathAndVerdict)
{
    const CollectorProgram program;
    program.post("/e2e", eventsBody(1));
    program.post("/apm?x=1", eventsBody(1));
    program.post("/apm/%C3%A4", "no JSON");
    program.post("/e2e", "[]");
    const auto numbers = [&](std::string_view query) {
        std::vector<std::int64_t> listed;
        const auto listing = program.control("GET", "/_telvora/requests?" + std::string(query));
        for (const auto& request : listing.at("requests").as_array())
            listed.push_back(request.at("number").as_int64());
        return listed;
    };

    EXPECT_THAT(numbers(""), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(numbers("path=%2Fe2e"), ElementsAre(1, 4));
    EXPECT_THAT(numbers("path=/apm&verdict=bad"), ElementsAre(3));
    EXPECT_THAT(numbers("path=/apm/%C3%A4"), ElementsAre(3));
    EXPECT_THAT(numbers("path=/apm/%25C3%25A4"), ElementsAre(3));
    EXPECT_THAT(numbers("verdict=ok"), ElementsAre(1, 2));
    EXPECT_THAT(numbers("verdict=bad&since=3"), ElementsAre(4));
    EXPECT_THAT(numbers("path=/e2e%00"), IsEmpty());
    EXPECT_THAT(numbers("path=/" + std::string(60000, 'x')), IsEmpty());
}

TEST(CollectorQueryTest, AnUnknownVerdictOrParameterIsRefused)
{
    const CollectorProgram program;
    Wire wire(program.controlPort());

    for (const char* query : { "verdict=wrong", "verdict=", "verdict=OK", "verdict=ok%00",
             "verdict=ok&verdict=bad", "paths=/e2e", "path=%2", "path" }) {
        const Wire::Reply reply = wire.exchange(get("/_telvora/requests?"s + query));
        EXPECT_EQ(reply.status, 400) << query;
        EXPECT_TRUE(boost::json::parse(reply.body).at("error").is_string()) << query;
    }
    EXPECT_THAT(wire.exchange(get("/_telvora/requests?verdict=wrong")).body,
        HasSubstr("verdict must be ok or bad"));
}

TEST(CollectorQueryTest, ALongQueryIsAnsweredAndATooLongOneRefused)
{
    const CollectorProgram program;

    const auto unknown = Wire(program.controlPort())
                             .exchange(get("/_telvora/requests?" + std::string(60000, 'x')));
    EXPECT_EQ(unknown.status, 400);
    EXPECT_LT(unknown.body.size(), 2000U);
    const auto endless = Wire(program.controlPort())
                             .exchange(get("/_telvora/requests?" + std::string(70000, 'x')));
    EXPECT_EQ(endless.status, 431);
    EXPECT_EQ(program.control("GET", "/_telvora/health").at("healthy"), true);
}

TEST(CollectorQueryTest, AWaitTakesATimeOutWithAUnit)
{
    const CollectorProgram program;

    EXPECT_EQ(
        program.control("GET", "/_telvora/wait?requests=1&timeout=20ms").at("reached"), false);
}

} // namespace
} // namespace telvora::tests
