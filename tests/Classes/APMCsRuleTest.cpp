#include <tests/Base/JSONTesting.h>
#include <tests/Classes/SimulatedHost.h>

#include <gmock/gmock.h>

#include <limits>

namespace telvora {
namespace {

const double notANumber = std::numeric_limits<double>::quiet_NaN();

// `extra` before and after a report whose `cs` is "x".
struct Row {
    std::optional<Value> extra;
    Value expected;
};

class APMCsRuleTest : public SimulatedHost {
protected:
    APMCsRuleTest() { watchEvents(); }

    Dictionary report(Dictionary dict)
    {
        seen.clear();
        manager().reportAPMDict(std::move(dict));
        return onlyEvent().event;
    }

    // The text on standard output after a report with these members.
    std::string consoleOf(Dictionary dict)
    {
        testing::internal::CaptureStdout();
        manager().reportAPMDict(std::move(dict));
        return testing::internal::GetCapturedStdout();
    }

    void expectRow(const Row& row)
    {
        Dictionary dict { { "cs", "x" } };
        if (row.extra)
            dict["extra"] = *row.extra;

        const Dictionary event = report(dict);

        EXPECT_EQ(event.at("cs"), "x");
        EXPECT_EQ(event.at("extra"), row.expected) << dict;
    }
};

using APMCsRuleQuirk = APMCsRuleTest;

TEST_F(APMCsRuleTest, AnExtraThatIsNeitherObjectNorTextBecomesAnObjectWithCSAlone)
{
    const Value own = R"({"cs":"x"})";
    for (const Row& row : {
             Row { std::nullopt, own },
             Row { nullptr, own },
             Row { true, own },
             Row { 7, own },
             Row { 1.5, own },
             Row { notANumber, own },
             Row { Array(), own },
             Row { Array { 1, "a" }, own },
             Row { "", own },
         })
        expectRow(row);
}

TEST_F(APMCsRuleTest, AnObjectInExtraBecomesItsTextWithCSInIt)
{
    expectRow({ Dictionary(), R"({"cs":"x"})" });
    expectRow({ Dictionary { { "a", 1 } }, R"({"a":1,"cs":"x"})" });
    expectRow({ Dictionary { { "a", nullptr }, { "b", { 1, { { "c", 2 } } } } },
        R"({"a":null,"b":[1,{"c":2}],"cs":"x"})" });
    expectRow({ Dictionary { { "cs", "old" }, { "a", 1 } }, R"({"cs":"x","a":1})" });
}

TEST_F(APMCsRuleTest, AnObjectInExtraThatCannotBeEncodedCountsAsNone)
{
    expectRow({ Dictionary { { "a", notANumber } }, R"({"cs":"x"})" });
}

TEST_F(APMCsRuleTest, TextOfAnObjectInExtraGetsCSAsAMember)
{
    expectRow({ R"({})", R"({"cs":"x"})" });
    expectRow({ R"({"a":1})", R"({"a":1,"cs":"x"})" });
    expectRow({ R"( {"a" : 18446744073709551615} )", R"({"a":18446744073709551615,"cs":"x"})" });
    expectRow({ R"({"cs":{"deep":[1]}})", R"({"cs":"x"})" });
}

TEST_F(APMCsRuleTest, TextOfAnotherJSONValueInExtraStays)
{
    for (const char* text : { "[1,2]", "7", "\"x\"", "true", "null", " 1.5 " })
        expectRow({ text, text });
}

TEST_F(APMCsRuleTest, TextInExtraThatIsNotJSONStays)
{
    for (const char* text :
        { "plain", "{", "{\"a\":}", "[1,]", " ", "nan", "{} {}", R"({"a":1e999})" })
        expectRow({ text, text });
}

TEST_F(APMCsRuleTest, BytesInExtraThatAreNotUTF8CountAsNoExtra)
{
    expectRow({ "\xFF\xFE", R"({"cs":"x"})" });
    expectRow({ "{\"a\":\"\xC3\"}", R"({"cs":"x"})" });
}

TEST_F(APMCsRuleTest, WithoutATextInCSExtraStays)
{
    const std::vector<std::optional<Value>> kinds { std::nullopt, "", nullptr, 7, true,
        Value(Array { "x" }), Value(Dictionary { { "a", 1 } }) };
    for (const auto& cs : kinds) {
        for (const Value& extra : { Value("text"), Value(Dictionary { { "a", 1 } }), Value(1) }) {
            Dictionary dict { { "extra", extra } };
            if (cs)
                dict["cs"] = *cs;

            const Dictionary event = report(dict);

            EXPECT_EQ(event.at("extra"), extra) << dict;
            EXPECT_EQ(event.contains("cs"), cs.has_value());
        }
    }
}

TEST_F(APMCsRuleTest, WithoutATextInCSNoExtraIsAdded)
{
    EXPECT_FALSE(report({ { "cs", "" } }).contains("extra"));
    EXPECT_FALSE(report({ { "t", "x" } }).contains("extra"));
}

TEST_F(APMCsRuleTest, CSIsEscapedAndRepairedLikeAnyText)
{
    EXPECT_EQ(report({ { "cs", "a\"\n\xFF" } }).at("extra"), "{\"cs\":\"a\\\"\\n\xEF\xBF\xBD\"}");
}

TEST_F(APMCsRuleQuirk, OnlyTextThatIsNotJSONIsReportedOnTheConsole)
{
    EXPECT_THAT(consoleOf({ { "cs", "x" }, { "extra", "plain" } }),
        testing::MatchesRegex("Failed to load: .+\n"));
    for (const Value& extra : { Value("[1]"), Value("{}"), Value(""), Value(7), Value("\xFF") })
        EXPECT_EQ(consoleOf({ { "cs", "x" }, { "extra", extra } }), "");
    EXPECT_EQ(consoleOf({ { "cs", "" }, { "extra", "plain" } }), "");
}

TEST_F(APMCsRuleTest, TheConsoleLineIsNotALogLine)
{
    const auto log = listen();

    consoleOf({ { "cs", "x" }, { "extra", "plain" } });

    ASSERT_EQ(log->lines.size(), 1u);
    EXPECT_THAT(log->lines.front(), testing::HasSubstr("Telvora report data"));
}

TEST_F(APMCsRuleTest, TextInExtraThatIsNestedTooDeeplyStays)
{
    Value deep = deepArray(100'000);
    Dictionary extra;
    extra["deep"] = std::move(deep);
    const Value text(std::string_view(*encode(extra)));

    testing::internal::CaptureStdout();
    EXPECT_EQ(report({ { "cs", "x" }, { "extra", std::move(extra) } }).at("extra"), text);
    EXPECT_EQ(report({ { "cs", "x" }, { "extra", text } }).at("extra"), text);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
        testing::MatchesRegex("Failed to load: .+\nFailed to load: .+\n"));
}

} // namespace
} // namespace telvora
