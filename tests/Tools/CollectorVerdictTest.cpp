#include <tools/collector/Verdict.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace telvora::collector {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view twoEvents = R"({"os":"ios","data-list":[{"a":1},{"b":2}]})";

Headers goodHeaders()
{
    return {
        { "Host", "127.0.0.1" },
        { "clienttype", "ios" },
        { "versioncode", "" },
        { "system-version", "12" },
        { "Content-Type", "application/json" },
        { "x-trace-id", "0F8FAD5B-D9CB-469F-A165-70867728950E" },
    };
}

Headers without(std::string_view name)
{
    Headers headers = goodHeaders();
    std::erase_if(headers, [&](const auto& header) { return header.first == name; });
    return headers;
}

Headers with(std::string name, std::string value)
{
    Headers headers = without(name);
    headers.emplace_back(std::move(name), std::move(value));
    return headers;
}

std::vector<std::string> problemsOfBody(std::string_view body)
{
    return judge(goodHeaders(), body).problems;
}

TEST(VerdictTest, IsOkForABatch)
{
    const Verdict verdict = judge(goodHeaders(), twoEvents);

    EXPECT_THAT(verdict.problems, IsEmpty());
    EXPECT_EQ(verdict.events, 2U);
    EXPECT_EQ(verdict.key, "data-list");
    EXPECT_EQ(verdict.traceID, "0F8FAD5B-D9CB-469F-A165-70867728950E");
}

TEST(VerdictTest, NamesEveryMissingHeader)
{
    EXPECT_THAT(judge({}, twoEvents).problems,
        ElementsAre("header clienttype is missing", "header versioncode is missing",
            "header system-version is missing", "header Content-Type is missing",
            "header x-trace-id is missing"));
}

TEST(VerdictTest, ComparesHeaderNamesWithoutCase)
{
    Headers headers = without("clienttype");
    headers.emplace_back("ClientType", "ios");

    EXPECT_TRUE(judge(headers, twoEvents).isOk());
}

TEST(VerdictTest, RequiresTheFixedValues)
{
    EXPECT_THAT(judge(with("clienttype", "IOS"), twoEvents).problems,
        ElementsAre(R"(header clienttype is "IOS", not "ios")"));
    EXPECT_THAT(judge(with("Content-Type", "text/plain"), twoEvents).problems,
        ElementsAre(R"(header Content-Type is "text/plain", not "application/json")"));
    EXPECT_THAT(judge(with("system-version", ""), twoEvents).problems,
        ElementsAre("header system-version is empty"));
}

TEST(VerdictTest, RefusesRepeatedHeaders)
{
    for (const char* name :
        { "clienttype", "versioncode", "system-version", "Content-Type", "x-trace-id" }) {
        Headers headers = goodHeaders();
        const auto original = std::find_if(headers.begin(), headers.end(),
            [&](const auto& header) { return header.first == name; });
        headers.push_back(*original);

        EXPECT_THAT(judge(headers, twoEvents).problems,
            ElementsAre("header " + std::string(name) + " is repeated"));
    }
}

TEST(VerdictTest, AllowsTheIdentifierOnceOrNotAtAll)
{
    Headers headers = with("QVX-UUID", "one");
    EXPECT_TRUE(judge(headers, twoEvents).isOk());

    headers.emplace_back("qvx-uuid", "two");
    EXPECT_THAT(judge(headers, twoEvents).problems, ElementsAre("header QVX-UUID is repeated"));
}

TEST(VerdictTest, RequiresTheTraceIDInCanonicalUpperCase)
{
    for (const char* text : { "", "0f8fad5b-d9cb-469f-a165-70867728950e",
             "0F8FAD5BD9CB469FA16570867728950E", "0F8FAD5B-D9CB-469F-A165-70867728950",
             "{0F8FAD5B-D9CB-469F-A165-70867728950E}", "0F8FAD5B-D9CB-469F-A165-70867728950G" })
        EXPECT_THAT(judge(with("x-trace-id", text), twoEvents).problems,
            ElementsAre("header x-trace-id is no upper-case UUID"))
            << text;
}

TEST(VerdictTest, RequiresAJSONObject)
{
    EXPECT_THAT(problemsOfBody(""), ElementsAre("body is no JSON: empty text at byte 0"));
    EXPECT_THAT(problemsOfBody("{"), ElementsAre("body is no JSON: text ends early at byte 1"));
    EXPECT_THAT(problemsOfBody("[{}]"), ElementsAre("body is no JSON object"));
}

TEST(VerdictTest, RequiresANonEmptyArrayOfObjects)
{
    EXPECT_THAT(problemsOfBody("{}"), ElementsAre("no array of events"));
    EXPECT_THAT(problemsOfBody(R"({"data":[1,{}]})"), ElementsAre("no array of events"));
    EXPECT_THAT(problemsOfBody(R"({"data":{}})"), ElementsAre("no array of events"));
    EXPECT_THAT(problemsOfBody(R"({"data":[]})"), ElementsAre("the event array is empty"));
}

TEST(VerdictTest, AllowsAnyKeyForTheEvents)
{
    EXPECT_EQ(judge(goodHeaders(), R"({"whatever":[{}]})").key, "whatever");
}

TEST(VerdictTest, PrefersTheUsualKeysAmongSeveralArrays)
{
    const Verdict verdict = judge(goodHeaders(), R"({"tags":[{}],"data":[{},{}]})");
    EXPECT_TRUE(verdict.isOk());
    EXPECT_EQ(verdict.key, "data");

    EXPECT_THAT(
        problemsOfBody(R"({"a":[{}],"b":[{}]})"), ElementsAre("several arrays of events: a, b"));
}

TEST(VerdictTest, NamesRepeatedMembers)
{
    EXPECT_THAT(problemsOfBody(R"({"os":1,"data":[{}],"os":2})"),
        ElementsAre("body has the member os twice"));
}

} // namespace
} // namespace telvora::collector
