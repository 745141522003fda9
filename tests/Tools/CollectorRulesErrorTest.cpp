#include <tests/Tools/CollectorProgram.h>

#include <tools/collector/JSONPlace.h>
#include <tools/collector/Rules.h>

#include <boost/json/parse.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace telvora::tests {
namespace {

using collector::lineAndColumn;
using collector::placeInJSON;
using collector::RuleList;
using testing::StartsWith;

std::string problemOf(std::string_view text)
{
    return RuleList().install(text, {}).value_or("no problem");
}

// What the program prints when it is started with these rules, and that it ends with status 1.
std::string problemOfFile(const std::string& file, std::string_view text)
{
    EXPECT_TRUE(std::ofstream(file, std::ios::binary) << text);
    std::string output;
    EXPECT_EQ(runCollector({ "--rules", file }, output), 1);
    return output;
}

TEST(CollectorRulesErrorTest, ALineEndsAtItsLineFeed)
{
    const std::string_view text = "one\r\ntwo\n\nfour";

    EXPECT_EQ(lineAndColumn(text, 0), "line 1, column 1");
    EXPECT_EQ(lineAndColumn(text, 2), "line 1, column 3");
    EXPECT_EQ(lineAndColumn(text, 5), "line 2, column 1");
    EXPECT_EQ(lineAndColumn(text, 9), "line 3, column 1");
    EXPECT_EQ(lineAndColumn(text, text.size()), "line 4, column 5");
    EXPECT_EQ(lineAndColumn("", 0), "line 1, column 1");
}

TEST(CollectorRulesErrorTest, AColumnIsACharacter)
{
    EXPECT_EQ(lineAndColumn("\xC3\xA4\xE2\x82\xAC!", 5), "line 1, column 3");
    EXPECT_EQ(lineAndColumn("\t!", 1), "line 1, column 2");
}

TEST(CollectorRulesErrorTest, FindsValuesBehindStringsThatLookLikeBrackets)
{
    const std::string_view text = R"( [ {"a]}": "\"]", "b" : [ -1.5e3 , true,{"c":null}]}, 7 ] )";
    const auto at
        = [&](const collector::JSONPath& path) { return text.substr(placeInJSON(text, path), 4); };

    EXPECT_EQ(at({}), "[ {\"");
    EXPECT_EQ(at({ 0U, "a]}" }), R"("\"])");
    EXPECT_EQ(at({ 0U, "b", 1U }), "true");
    EXPECT_EQ(at({ 0U, "b", 2U, "c" }), "null");
    EXPECT_EQ(at({ 1U }), "7 ] ");
    EXPECT_EQ(text.substr(placeInJSON(text, { 0U, "b" }, true), 3), R"("b")");
}

TEST(CollectorRulesErrorTest, TheLastOfMembersWithOneNameCounts)
{
    EXPECT_EQ(problemOf(R"([{"times":1,"t\u0069mes":-1}])"),
        R"(line 1, column 26: rule 0: "times" must be a whole number from 0)");
}

TEST(CollectorRulesErrorTest, PointsAtTheValueThatIsWrong)
{
    EXPECT_THAT(problemOf(R"({"rules": [{}, {"status": 99}]})"),
        StartsWith(R"(line 1, column 27: rule 1: "status")"));
    EXPECT_THAT(problemOf(R"([{"drip": {"every": 1, "bytes": 0}}])"),
        StartsWith(R"(line 1, column 33: rule 0: "drip.bytes")"));
    EXPECT_THAT(problemOf(R"([{"headers": {"a": "b", "c": 1}}])"),
        StartsWith(R"(line 1, column 30: rule 0: "headers")"));
    EXPECT_THAT(problemOf(R"([{"refuse": "connect", "times": 1}])"),
        StartsWith("line 1, column 33: rule 0: "));
    EXPECT_THAT(problemOf(R"({"rules": 7})"), StartsWith("line 1, column 11: rules must be"));
}

TEST(CollectorRulesErrorTest, PointsAtTheNameThatIsUnknown)
{
    EXPECT_EQ(problemOf(R"([{"drip": {"each": 1}}])"),
        R"(line 1, column 12: rule 0: unknown member "drip.each")");
}

TEST(CollectorRulesErrorTest, ShowsANameThatIsUnknownSafely)
{
    EXPECT_EQ(problemOf(R"([{"\u001b[2J\u0000é": 1}])"),
        R"(line 1, column 3: rule 0: unknown member "\x1b[2J\x00é")");
}

TEST(CollectorRulesErrorTest, PointsAtWhatIsNoJSON)
{
    EXPECT_EQ(problemOf(""), "line 1, column 1: rules are no JSON: empty text");
    EXPECT_EQ(problemOf("\n\n"), "line 3, column 1: rules are no JSON: text ends early");
    EXPECT_EQ(problemOf("[\n  {},\n]"), "line 3, column 1: rules are no JSON: value expected");
    EXPECT_EQ(problemOf("[]x"), "line 1, column 3: rules are no JSON: text after the value");
    EXPECT_EQ(problemOf(std::string_view("\0[]", 3)),
        "line 1, column 1: rules are no JSON: value expected");
    EXPECT_EQ(problemOf("[{\"name\":\"a\nb\"}]"),
        "line 1, column 12: rules are no JSON: control character in a string");
    EXPECT_EQ(problemOf("[\"\xFF\"]"), "line 1, column 3: rules are no JSON: not UTF-8");
    EXPECT_EQ(problemOf("\xEF\xBB"), "line 1, column 1: rules are no JSON: value expected");
}

TEST(CollectorRulesErrorTest, PointsAtJSONThatCannotBeRead)
{
    EXPECT_THAT(problemOf(std::string(1000, '[') + std::string(1000, ']')),
        StartsWith("line 1, column 33: rules cannot be read: "));
    EXPECT_THAT(problemOf("[\n1e999999999999]"), StartsWith("line 2, column "));
}

TEST(CollectorRulesErrorTest, AFileMayHaveAByteOrderMarkAndCarriageReturns)
{
    const std::string file = temporaryFile("rules");
    ASSERT_TRUE(std::ofstream(file, std::ios::binary)
        << "\xEF\xBB\xBF[\r\n  {\"body\": \"marked\"}\r\n]\r\n");
    const CollectorProgram program({ "--rules", file });

    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, "marked");
    EXPECT_EQ(
        problemOf("\xEF\xBB\xBF{\"x\"}"), "line 1, column 5: rules are no JSON: colon expected");
}

TEST(CollectorRulesErrorTest, TheProgramNamesFileLineAndColumn)
{
    const std::string file = temporaryFile("rules");
    const std::string place = "telvora-collector: " + file + ": ";

    EXPECT_EQ(problemOfFile(file, ""), place + "line 1, column 1: rules are no JSON: empty text\n");
    EXPECT_EQ(problemOfFile(file, "[{\"path\": \"/e2e\"},\r\n {\"close\": \"later\"}]"),
        place + "line 2, column 12: rule 1: \"close\" must be \"before\" or \"within\"\n");
}

TEST(CollectorRulesErrorTest, TheAnswerToRulesNamesLineAndColumn)
{
    const CollectorProgram program;

    const auto reply = Wire(program.controlPort())
                           .exchange(request("PUT", "/_telvora/rules", "[{\"times\": 1},\n {7}]"));

    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(boost::json::parse(reply.body).at("error"),
        "line 2, column 3: rules are no JSON: key expected");
}

} // namespace
} // namespace telvora::tests
