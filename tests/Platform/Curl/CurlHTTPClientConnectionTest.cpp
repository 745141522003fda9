#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <vector>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

/// No request waits long enough to get a connection of its own, however slow the machine is.
CurlHTTPOptions patient()
{
    CurlHTTPOptions options;
    options.connectionWait = 1h;
    return options;
}

/// A server that answers once `count` requests are there, so that they are there at once.
class GatheringServer : public LoopbackServer {
public:
    explicit GatheringServer(std::size_t count)
        : LoopbackServer([this, count](const LoopbackRequest&) {
            waitForRequests(count);
            return LoopbackReply::answer(200, "{}");
        })
    {
    }
};

TEST(CurlHTTPClientConnectionTest, OneConnectionServesOneRequestAfterAnother)
{
    LoopbackServer server([](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}"); });
    RealHTTPClient client;

    for (int number = 0; number < 200; ++number)
        ASSERT_EQ(answerTo(client, postTo(server.url())).data, "{}");

    EXPECT_EQ(server.connections(), 1U);
}

HTTPRequest withFlag(HTTPRequest request, const std::shared_ptr<std::atomic<bool>>& withdrawn)
{
    request.withdrawn = withdrawn;
    return request;
}

TEST(CurlHTTPClientConnectionTest, ARequestThatIsWithdrawnOpensNoConnection)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    const auto withdrawn = std::make_shared<std::atomic<bool>>(true);
    RealHTTPClient client;

    const HTTPAnswer answer = answerTo(client, withFlag(postTo(server.url()), withdrawn));

    EXPECT_EQ(answer.error, "The request was withdrawn");
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(server.connections(), 0U);
}

TEST(CurlHTTPClientConnectionTest, ARequestThatIsWithdrawnWhileItWaitsForAConnectionIsNotSent)
{
    std::latch isWithdrawn(1);
    LoopbackServer server([&](const LoopbackRequest&) {
        isWithdrawn.wait();
        return LoopbackReply::answer(200, "{}");
    });
    const auto withdrawn = std::make_shared<std::atomic<bool>>(false);
    RealHTTPClient client(patient());

    std::vector<AnswerToCome> sent;
    for (int number = 0; number < 6; ++number)
        sent.emplace_back(client, withFlag(postTo(server.url()), withdrawn));
    ASSERT_TRUE(server.waitForRequests(6));
    AnswerToCome waiting(client, withFlag(postTo(server.url()), withdrawn));
    withdrawn->store(true);
    isWithdrawn.count_down();

    EXPECT_EQ(waiting.wait().value().error, "The request was withdrawn");
    // What was sent already gets its answer.
    for (AnswerToCome& answer : sent)
        EXPECT_EQ(answer.wait().value().data, "{}");
    EXPECT_EQ(server.received().size(), 6U);
}

TEST(CurlHTTPClientConnectionTest, ARequestThatIsWithdrawnFollowsNoRedirect)
{
    const auto withdrawn = std::make_shared<std::atomic<bool>>(false);
    LoopbackServer server([&](const LoopbackRequest&) {
        withdrawn->store(true);
        return LoopbackReply::redirect(307, "/elsewhere");
    });
    RealHTTPClient client;

    EXPECT_EQ(answerTo(client, withFlag(postTo(server.url()), withdrawn)).error,
        "The request was withdrawn");
    EXPECT_EQ(server.received().size(), 1U);
}

TEST(CurlHTTPClientConnectionTest, FiftyRequestsAtOnceShareSixConnections)
{
    GatheringServer server(6);
    std::atomic<int> answers { 0 };
    RealHTTPClient client(patient());

    for (int number = 0; number < 50; ++number)
        client.send(postTo(server.url()), [&](HTTPAnswer answer) { answers += !!answer.data; });

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(answers, 50);
    EXPECT_EQ(server.connections(), 6U);
}

TEST(CurlHTTPClientConnectionTest, EveryConnectionIsUsedAgainAfterAPause)
{
    GatheringServer server(6);
    RealHTTPClient client(patient());

    for (int round = 0; round < 5; ++round) {
        for (int number = 0; number < 12; ++number)
            client.send(postTo(server.url()), [](HTTPAnswer) {});
        ASSERT_TRUE(settle(client));
    }

    EXPECT_EQ(server.connections(), 6U);
}

TEST(CurlHTTPClientConnectionTest, NumberOfConnectionsIsAnOption)
{
    GatheringServer server(2);
    CurlHTTPOptions options = patient();
    options.connectionsPerHost = 2;
    RealHTTPClient client(options);

    for (int number = 0; number < 10; ++number)
        client.send(postTo(server.url()), [](HTTPAnswer) {});

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(server.connections(), 2U);
}

TEST(CurlHTTPClientConnectionTest, SlowServerDoesNotDelayAnother)
{
    LoopbackServer slow([](const LoopbackRequest&) { return LoopbackReply::silence(); });
    LoopbackServer quick([](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}"); });
    RealHTTPClient client(patient());
    for (int number = 0; number < 300; ++number)
        client.send(postTo(slow.url()), [](HTTPAnswer) {});
    ASSERT_TRUE(slow.waitForRequests(6));

    EXPECT_EQ(answerTo(client, postTo(quick.url())).data, "{}");
    EXPECT_EQ(slow.connections(), 6U);
}

TEST(CurlHTTPClientConnectionTest, EachRequestKeepsItsOwnTimeout)
{
    std::latch mayAnswer(1);
    LoopbackServer server([&](const LoopbackRequest& request) {
        if (request.target == "/never")
            return LoopbackReply::silence();
        mayAnswer.wait();
        return LoopbackReply::answer(200, "{}");
    });
    RealHTTPClient client;

    AnswerToCome patient(client, postTo(server.url("/late"), "{}", 1h));
    AnswerToCome impatient(client, postTo(server.url("/never"), "{}", 1s));
    const bool isTimedOut = impatient.wait()->error.has_value();
    mayAnswer.count_down();

    EXPECT_TRUE(isTimedOut);
    EXPECT_EQ(patient.wait()->data, "{}");
}

TEST(CurlHTTPClientConnectionTest, ConnectionThatTheServerClosedIsReplaced)
{
    LoopbackServer server(
        [](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}").thenClose(); });
    RealHTTPClient client;

    for (int number = 0; number < 20; ++number) {
        ASSERT_EQ(answerTo(client, postTo(server.url())).data, "{}");
        waitUntilClosed("127.0.0.1", std::stoi(server.port()));
    }

    EXPECT_EQ(server.connections(), 20U);
}

TEST(CurlHTTPClientConnectionQuirk, RequestIsNotRepeatedWhenAKeptConnectionDies)
{
    LoopbackServer server([](const LoopbackRequest& request) {
        return request.number == 0 ? LoopbackReply::answer(200, "{}") : LoopbackReply::close();
    });
    RealHTTPClient client;
    ASSERT_EQ(answerTo(client, postTo(server.url())).data, "{}");

    HTTPAnswer answer = answerTo(client, postTo(server.url(), "once"));

    EXPECT_TRUE(answer.error);
    EXPECT_EQ(server.received().size(), 2U);
}

TEST(CurlHTTPClientConnectionTest, ManyThreadsMaySendAtOnce)
{
    LoopbackServer server([](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}"); });
    std::atomic<int> answers { 0 };
    RealHTTPClient client(patient());

    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender)
        senders.emplace_back([&] {
            for (int number = 0; number < 100; ++number)
                client.send(
                    postTo(server.url()), [&](HTTPAnswer answer) { answers += !!answer.data; });
        });
    for (std::thread& sender : senders)
        sender.join();

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(answers, 400);
    EXPECT_LE(server.connections(), 6U);
}

TEST(CurlHTTPClientConnectionTest, SendDoesNotWaitForTheNetwork)
{
    LoopbackServer server([](const LoopbackRequest&) { return LoopbackReply::silence(); });
    RealHTTPClient client;

    for (int number = 0; number < 1000; ++number)
        client.send(postTo(server.url()), [](HTTPAnswer) {});

    EXPECT_EQ(client.inFlight(), 1000U);
}

} // namespace
} // namespace telvora::detail
