#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace telvora {
namespace {

using namespace std::chrono_literals;

HTTPRequest postTo(std::string url)
{
    HTTPRequest request;
    request.url = std::move(url);
    request.method = "POST";
    request.body = "{}";
    return request;
}

class ScriptedHTTPClientTest : public testing::Test {
protected:
    /// Sends and writes down what comes: "200:body", "!error" or "-" for neither.
    void send(const std::string& url = "http://a/")
    {
        client.send(postTo(url), [this](HTTPAnswer answer) {
            if (answer.data)
                came += std::to_string(answer.status) + ":" + *answer.data;
            else
                came += answer.error ? "!" + *answer.error : "-";
            came += " ";
        });
    }

    SimulatedPlatform platform;
    ScriptedHTTPClient& client = platform.httpClient();
    std::string came;
};

TEST_F(ScriptedHTTPClientTest, AnswersInTheOrderOfTheListThenFails)
{
    client.setAnswers({ ScriptedAnswer::body("a"), ScriptedAnswer::body("b", 500),
        ScriptedAnswer::error("gone"), ScriptedAnswer::noData() });

    for (int count = 0; count < 5; ++count)
        send();
    platform.runUntilIdle();

    EXPECT_EQ(came, "200:a 500:b !gone - !No answer is scripted ");
}

TEST_F(ScriptedHTTPClientTest, RepeatsTheLastAnswerWhenAskedTo)
{
    client.setAnswers({ ScriptedAnswer::body("a"), ScriptedAnswer::body("b") }, true);

    for (int count = 0; count < 4; ++count)
        send();
    platform.runUntilIdle();

    EXPECT_EQ(came, "200:a 200:b 200:b 200:b ");
}

TEST_F(ScriptedHTTPClientTest, AnAddressWithItsOwnListIsNotServedByTheGeneralOne)
{
    client.setAnswers({ ScriptedAnswer::body("general") }, true);
    client.setAnswers("http://own/", { ScriptedAnswer::body("own") });

    send("http://own/");
    send("http://own/");
    send("http://other/");
    platform.runUntilIdle();

    EXPECT_EQ(came, "200:own !No answer is scripted 200:general ");
}

TEST_F(ScriptedHTTPClientTest, SettingAnswersReplacesThoseLeft)
{
    client.setAnswers({ ScriptedAnswer::body("a"), ScriptedAnswer::body("b") });
    send();
    client.setAnswers({ ScriptedAnswer::body("c") });
    send();

    platform.runUntilIdle();

    EXPECT_EQ(came, "200:a 200:c ");
}

TEST_F(ScriptedHTTPClientTest, AnswersAreBlocksThatHoldKeeps)
{
    platform.setHold(true);
    client.setAnswers({ ScriptedAnswer::body("a") });
    send();

    platform.runUntilIdle();
    EXPECT_EQ(came, "");
    EXPECT_EQ(client.underWayCount(), 1U);
    EXPECT_EQ(platform.step(), 1U);
    EXPECT_EQ(came, "200:a ");
    EXPECT_EQ(client.underWayCount(), 0U);
}

TEST_F(ScriptedHTTPClientTest, ADelayedAnswerComesAtItsInstant)
{
    client.setAnswers({ ScriptedAnswer::body("a").after(2s), ScriptedAnswer::body("b") });
    send();
    send();

    platform.runUntilIdle();
    EXPECT_EQ(came, "200:b ");
    platform.advance(1999ms);
    EXPECT_EQ(came, "200:b ");
    platform.advance(1ms);
    EXPECT_EQ(came, "200:b 200:a ");
}

TEST_F(ScriptedHTTPClientTest, AnInlineAnswerCompletesBeforeSendReturnsOnAnotherThread)
{
    platform.setHold(true);
    client.setAnswers({ ScriptedAnswer::body("a").inlined() });
    bool isMain = true;

    client.send(
        postTo("http://a/"), [&](HTTPAnswer) { isMain = platform.dispatch().isOnMainThread(); });

    EXPECT_FALSE(isMain);
    EXPECT_EQ(client.underWayCount(), 0U);
    EXPECT_TRUE(platform.dispatch().isOnMainThread());
}

TEST_F(ScriptedHTTPClientTest, ARequestForLaterWaitsForItsAnswer)
{
    client.setAnswers({ ScriptedAnswer::later() }, true);
    send();
    send();
    platform.advance(1000s);
    EXPECT_EQ(client.underWayCount(), 2U);

    EXPECT_TRUE(client.answer(2, ScriptedAnswer::body("second")));
    platform.runUntilIdle();
    EXPECT_EQ(came, "200:second ");

    EXPECT_TRUE(client.answer(1, ScriptedAnswer::error("first").after(1s)));
    platform.advance(1s);
    EXPECT_EQ(came, "200:second !first ");
}

TEST_F(ScriptedHTTPClientTest, OnlyAWaitingRequestCanBeAnswered)
{
    client.setAnswers({ ScriptedAnswer::body("a"), ScriptedAnswer::later() });
    send();
    send();

    EXPECT_FALSE(client.answer(0, ScriptedAnswer::body("x")));
    EXPECT_FALSE(client.answer(1, ScriptedAnswer::body("x")));
    EXPECT_FALSE(client.answer(3, ScriptedAnswer::body("x")));
    EXPECT_TRUE(client.answer(2, ScriptedAnswer::later()));
    EXPECT_TRUE(client.answer(2, ScriptedAnswer::body("x").inlined()));
    EXPECT_FALSE(client.answer(2, ScriptedAnswer::body("x")));
    EXPECT_EQ(came, "200:x ");
}

TEST_F(ScriptedHTTPClientTest, RequestsAreNumberedRecordedAndToldOf)
{
    std::string told;
    client.setRequestObserver([&](std::size_t number, const HTTPRequest& request) {
        told += std::to_string(number) + request.url + " ";
    });
    HTTPRequest request = postTo("http://a/");
    request.headers = { { "b", "1" }, { "a", "2" } };
    request.timeout = 60s;

    client.send(request, [](HTTPAnswer) {});
    request.url = "http://b/";
    client.send(request, [](HTTPAnswer) {});

    EXPECT_EQ(told, "1http://a/ 2http://b/ ");
    ASSERT_EQ(client.requests().size(), 2U);
    EXPECT_EQ(client.requests()[0].headers, request.headers);
    EXPECT_EQ(client.requests()[1].url, "http://b/");
    EXPECT_EQ(client.requests()[1].timeout, 60s);
}

TEST_F(ScriptedHTTPClientTest, TheObserverMayChooseTheAnswer)
{
    client.setRequestObserver([&](std::size_t number, const HTTPRequest&) {
        client.setAnswers({ ScriptedAnswer::body(std::to_string(number)) });
    });

    send();
    send();
    platform.runUntilIdle();

    EXPECT_EQ(came, "200:1 200:2 ");
}

TEST_F(ScriptedHTTPClientTest, ARequestThatIsRefusedHasNoNumber)
{
    client.setAnswers({ ScriptedAnswer::body("a") });
    HTTPRequest request = postTo("http://a/");
    request.headers = { { "name", "a\r\nb: c" } };
    client.send(request, [&](HTTPAnswer answer) { came += answer.error ? "refused " : "sent "; });
    send();
    platform.runUntilIdle();

    EXPECT_EQ(came, "refused 200:a ");
    EXPECT_EQ(client.requestCount(), 1U);
    EXPECT_EQ(client.underWayCount(), 0U);
}

TEST(ScriptedHTTPClientLifeTest, UnfinishedRequestsAreDroppedAtTheEnd)
{
    auto witness = std::make_shared<int>(0);
    {
        SimulatedPlatform platform;
        platform.httpClient().setAnswers({ ScriptedAnswer::later(),
            ScriptedAnswer::body("a").after(1s), ScriptedAnswer::body("b") });
        for (int count = 0; count < 3; ++count)
            platform.httpClient().send(postTo("http://a/"), [witness](HTTPAnswer) { ++*witness; });
    }

    EXPECT_EQ(*witness, 0);
    EXPECT_EQ(witness.use_count(), 1);
}

} // namespace
} // namespace telvora
