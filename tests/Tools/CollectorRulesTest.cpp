#include <tools/collector/Rules.h>

#include <boost/json/serialize.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace telvora::collector {
namespace {

using namespace std::chrono_literals;

const RuleList::Clock::time_point start {};

class RuleListTest : public testing::Test {
protected:
    // The name of the rule that a request to `path` meets, or "-".
    std::string met(std::string_view path, RuleList::Clock::duration after = 0s)
    {
        const auto rule = rules.take(path, start + after);
        return rule ? rule->name : "-";
    }

    RuleList rules;
};

TEST_F(RuleListTest, MatchesByPrefix)
{
    rules.install(R"([{"path":"/e2e"}])", start);

    EXPECT_EQ(met("/e2e"), "#0");
    EXPECT_EQ(met("/e2e/more"), "#0");
    EXPECT_EQ(met("/apm"), "-");
}

TEST_F(RuleListTest, TheFirstMatchWithTimesLeftWins)
{
    rules.install(
        R"([{"name":"twice","times":2},{"name":"other","path":"/x"},{"name":"rest"}])", start);

    EXPECT_EQ(met("/x"), "twice");
    EXPECT_EQ(met("/y"), "twice");
    EXPECT_EQ(met("/x"), "other");
    EXPECT_EQ(met("/y"), "rest");
    EXPECT_EQ(met("/y"), "rest");
}

TEST_F(RuleListTest, ARuleEndsAfterItsSeconds)
{
    rules.install(R"([{"seconds":1.5}])", start);

    EXPECT_EQ(met("/", 1499ms), "#0");
    EXPECT_EQ(met("/", 1500ms), "-");
}

TEST_F(RuleListTest, DurationsMayHaveAUnit)
{
    rules.install(R"([{"seconds":"1.5s","delay":"2min","drip":{"every":"20 ms"}}])", start);

    const auto rule = rules.take("/", start + 1499ms);
    EXPECT_EQ(rule->delay, 2min);
    EXPECT_EQ(rule->drip->every, 20ms);
    EXPECT_EQ(met("/", 1500ms), "-");
}

TEST_F(RuleListTest, ReportsADurationThatIsNone)
{
    for (const char* text : { R"([{"delay":"2"}])", R"([{"delay":"2m"}])", R"([{"delay":"25h"}])",
             R"([{"seconds":"soon"}])", R"([{"seconds":true}])", R"([{"delay":"1s\u0000"}])",
             R"([{"drip":{"every":"-1s"}}])" })
        EXPECT_THAT(rules.install(text, start).value_or(""),
            testing::HasSubstr(R"(or a text such as "250ms")"))
            << text;
}

TEST_F(RuleListTest, InstallingReplacesAllRules)
{
    rules.install(R"([{"name":"old"}])", start);
    rules.install(R"({"rules":[{"name":"new","path":"/n"}]})", start);

    EXPECT_EQ(met("/"), "-");
    EXPECT_EQ(met("/n"), "new");
}

TEST_F(RuleListTest, OnlyRefusingRulesApplyToConnections)
{
    rules.install(R"([{"status":500},{"name":"refusing","refuse":true,"times":1}])", start);

    EXPECT_EQ(rules.takeForConnection(start)->name, "refusing");
    EXPECT_FALSE(rules.takeForConnection(start));
}

TEST_F(RuleListTest, RefusesToListenUntilTheRuleEnds)
{
    rules.install(R"([{"refuse":"connect","seconds":2}])", start);

    EXPECT_TRUE(rules.refusesToListen(start));
    EXPECT_FALSE(rules.takeForConnection(start));
    EXPECT_FALSE(rules.refusesToListen(start + 2s));
}

TEST_F(RuleListTest, DescribesTimesLeftAndTimesApplied)
{
    rules.install(R"([{"path":"/e","times":3,"status":503,"body":""}])", start);
    met("/e");

    EXPECT_EQ(boost::json::serialize(rules.describe()),
        R"([{"name":"#0","path":"/e","met":1,"left":2,"status":503,"body":""}])");
}

TEST_F(RuleListTest, ReportsAWrongRuleAndKeepsTheOldOnes)
{
    rules.install(R"([{"name":"old"}])", start);

    EXPECT_EQ(rules.install(R"([{},{"times":-1}])", start),
        R"(line 1, column 14: rule 1: "times" must be a whole number from 0)");
    EXPECT_EQ(rules.install(R"([{"statuss":1}])", start),
        R"(line 1, column 3: rule 0: unknown member "statuss")");
    EXPECT_EQ(rules.install(R"([1])", start), "line 1, column 2: rule 0: a rule must be an object");
    for (const char* text :
        { "", "{}", "7", R"([{"delay":-1}])", R"([{"delay":1e300}])", R"([{"status":99}])",
            R"([{"close":"later"}])", R"([{"drip":{"bytes":0}}])", R"([{"drip":{"x":0}}])",
            R"([{"drip":1}])", R"([{"refuse":false}])", R"([{"refuse":"connect","times":1}])",
            R"([{"headers":{"a":1}}])", R"([{"headers":1}])", R"([{"body":null}])",
            R"([{"never":1}])", R"([{"truncate":1.5}])" })
        EXPECT_TRUE(rules.install(text, start)) << text;
    EXPECT_EQ(met("/"), "old");
}

TEST_F(RuleListTest, RefusesHeadersWithLineBreaks)
{
    EXPECT_TRUE(rules.install(R"([{"headers":{"a":"b\r\nc: d"}}])", start));
    EXPECT_TRUE(rules.install(R"([{"headers":{"a\n":"b"}}])", start));
}

} // namespace
} // namespace telvora::collector
