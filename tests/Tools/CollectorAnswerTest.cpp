#include <tools/collector/Answer.h>

#include <gtest/gtest.h>

namespace telvora::collector {
namespace {

using namespace std::chrono_literals;

Answer answerTo(std::string_view ruleText, bool keepAlive = true)
{
    RuleList rules;
    const auto problem = rules.install(ruleText, {});
    EXPECT_FALSE(problem) << *problem;
    return ruledAnswer(*rules.take("/", {}), keepAlive);
}

TEST(OutcomeTest, TakesABooleanZeroOrOneForSuccess)
{
    for (const char* body : { R"({"success":true})", R"({"success":false})", R"({"success":0})",
             R"({"success":1})", R"({"success":1.0})", R"({"success":0e0})", R"({"success":-0})",
             R"( {"other":[],"success":true} )" })
        EXPECT_EQ(outcomeOf(body), Outcome::accepted) << body;
}

TEST(OutcomeTest, TakesAnythingElseForARejection)
{
    for (const char* body :
        { "", "{}", "<html>", R"({"success":2})", R"({"success":0.5})", R"({"success":"true"})",
            R"({"success":null})", R"({"success":{}})", R"({"success":true)" })
        EXPECT_EQ(outcomeOf(body), Outcome::rejected) << body;
}

TEST(OutcomeTest, GivesJSONThatIsNoObjectItsOwnOutcome)
{
    for (const char* body : { "[]", "\"ok\"", "true", "1", "null", R"([{"success":true}])" })
        EXPECT_EQ(outcomeOf(body), Outcome::notObject) << body;
}

TEST(AnswerTest, TheStatusDoesNotDecideTheOutcome)
{
    const Answer answer = answerTo(R"([{"status":500}])");

    EXPECT_EQ(answer.bytes,
        "HTTP/1.1 500 Internal Server Error\r\nContent-Type: application/json\r\n"
        "Content-Length: 16\r\n\r\n{\"success\":true}");
    EXPECT_EQ(answer.outcome, Outcome::accepted);
    EXPECT_EQ(answer.after, AfterAnswer::keepOpen);
}

TEST(AnswerTest, AnEmptyBodyIsARejection)
{
    EXPECT_EQ(answerTo(R"([{"body":""}])").outcome, Outcome::rejected);
    EXPECT_EQ(answerTo(R"([{"status":204}])").outcome, Outcome::rejected);
}

TEST(AnswerTest, AStatusWithoutABodyStatesNoLength)
{
    EXPECT_EQ(answerTo(R"([{"status":204}])").bytes, "HTTP/1.1 204 No Content\r\n\r\n");
}

TEST(AnswerTest, ARedirectIsUndelivered)
{
    const Answer answer = answerTo(R"([{"status":302,"headers":{"Location":"/x"}}])");

    EXPECT_NE(answer.bytes.find("\r\nLocation: /x\r\n"), std::string::npos);
    EXPECT_EQ(answer.outcome, Outcome::undelivered);
}

TEST(AnswerTest, HasConnectionCloseWhereTheRequestDoesNotKeepAlive)
{
    const Answer answer = answerTo(R"([{}])", false);

    EXPECT_NE(answer.bytes.find("\r\nConnection: close\r\n"), std::string::npos);
    EXPECT_EQ(answer.after, AfterAnswer::close);
    EXPECT_EQ(answer.outcome, Outcome::accepted);
}

TEST(AnswerTest, ClosingWithinSendsHalfOfTheBody)
{
    const Answer answer = answerTo(R"([{"close":"within"}])");

    EXPECT_TRUE(answer.bytes.ends_with("\r\n\r\n{\"succes"));
    EXPECT_EQ(answer.outcome, Outcome::undelivered);
    EXPECT_EQ(answer.after, AfterAnswer::close);
}

TEST(AnswerTest, ClosingWithinAnEmptyBodyCutsTheHead)
{
    const Answer answer = answerTo(R"([{"close":"within","body":""}])");

    EXPECT_EQ(answer.bytes.find("\r\n\r\n"), std::string::npos);
    EXPECT_EQ(answer.outcome, Outcome::undelivered);
}

TEST(AnswerTest, ATruncationBeyondTheEndChangesNothing)
{
    EXPECT_EQ(answerTo(R"([{"truncate":100000}])").outcome, Outcome::accepted);
    EXPECT_EQ(answerTo(R"([{"truncate":20}])").bytes, "HTTP/1.1 200 OK\r\nCon");
    EXPECT_EQ(answerTo(R"([{"truncate":20}])").outcome, Outcome::undelivered);
}

TEST(AnswerTest, AResetReplacesAClose)
{
    EXPECT_EQ(answerTo(R"([{"close":"before","reset":true}])").after, AfterAnswer::reset);
    EXPECT_EQ(answerTo(R"([{"truncate":1,"reset":true}])").after, AfterAnswer::reset);
    EXPECT_EQ(answerTo(R"([{"nonsense":true,"reset":true}])").after, AfterAnswer::reset);
}

TEST(AnswerTest, RefusingResetsConnectionsThatExist)
{
    const Answer answer = answerTo(R"([{"refuse":"connect"}])");

    EXPECT_EQ(answer.bytes, "");
    EXPECT_EQ(answer.after, AfterAnswer::reset);
    EXPECT_EQ(answer.outcome, Outcome::undelivered);
}

TEST(AnswerTest, CarriesDelayAndDrip)
{
    const Answer answer = answerTo(R"([{"delay":0.25,"drip":{"bytes":3,"every":2}}])");

    EXPECT_EQ(answer.delay, 250ms);
    EXPECT_EQ(answer.drip->bytes, 3U);
    EXPECT_EQ(answer.drip->every, 2s);
}

} // namespace
} // namespace telvora::collector
