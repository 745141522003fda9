#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <tests/Platform/Linux/HTTPTesting.h>
#include <tests/Platform/Linux/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;

/// No request waits long enough to get a connection of its own, however slow the machine is.
LinuxHTTPOptions patient()
{
    LinuxHTTPOptions options;
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

TEST(LinuxHTTPClientConnectionTest, OneConnectionServesOneRequestAfterAnother)
{
    LoopbackServer server([](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}"); });
    LinuxHTTPClient client;

    for (int number = 0; number < 200; ++number)
        ASSERT_EQ(answerTo(client, postTo(server.url())).data, "{}");

    EXPECT_EQ(server.connections(), 1U);
}

TEST(LinuxHTTPClientConnectionTest, FiftyRequestsAtOnceShareSixConnections)
{
    GatheringServer server(6);
    std::atomic<int> answers { 0 };
    LinuxHTTPClient client(patient());

    for (int number = 0; number < 50; ++number)
        client.send(postTo(server.url()), [&](HTTPAnswer answer) { answers += !!answer.data; });

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(answers, 50);
    EXPECT_EQ(server.connections(), 6U);
}

TEST(LinuxHTTPClientConnectionTest, EveryConnectionIsUsedAgainAfterAPause)
{
    GatheringServer server(6);
    LinuxHTTPClient client(patient());

    for (int round = 0; round < 5; ++round) {
        for (int number = 0; number < 12; ++number)
            client.send(postTo(server.url()), [](HTTPAnswer) {});
        ASSERT_TRUE(settle(client));
    }

    EXPECT_EQ(server.connections(), 6U);
}

TEST(LinuxHTTPClientConnectionTest, NumberOfConnectionsIsAnOption)
{
    GatheringServer server(2);
    LinuxHTTPOptions options = patient();
    options.connectionsPerHost = 2;
    LinuxHTTPClient client(options);

    for (int number = 0; number < 10; ++number)
        client.send(postTo(server.url()), [](HTTPAnswer) {});

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(server.connections(), 2U);
}

TEST(LinuxHTTPClientConnectionTest, SlowHostDoesNotHoldAnotherBack)
{
    LoopbackServer slow([](const LoopbackRequest&) { return LoopbackReply::silence(); });
    LoopbackServer quick([](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}"); });
    LinuxHTTPClient client(patient());
    for (int number = 0; number < 300; ++number)
        client.send(postTo(slow.url()), [](HTTPAnswer) {});
    ASSERT_TRUE(slow.waitForRequests(6));

    EXPECT_EQ(answerTo(client, postTo(quick.url())).data, "{}");
    EXPECT_EQ(slow.connections(), 6U);
}

TEST(LinuxHTTPClientConnectionTest, EachRequestKeepsItsOwnTimeout)
{
    LoopbackServer server([](const LoopbackRequest& request) {
        return LoopbackReply::answer(200, "{}").after(request.target == "/slow" ? 2s : 0s);
    });
    LinuxHTTPClient client;

    AnswerToCome patient(client, postTo(server.url("/slow"), "{}", 10s));
    AnswerToCome impatient(client, postTo(server.url("/slow"), "{}", 1s));

    EXPECT_TRUE(impatient.wait()->error);
    EXPECT_EQ(patient.wait()->data, "{}");
}

TEST(LinuxHTTPClientConnectionTest, ConnectionThatTheServerClosedIsReplaced)
{
    LoopbackServer server(
        [](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}").thenClose(); });
    LinuxHTTPClient client;

    for (int number = 0; number < 20; ++number) {
        ASSERT_EQ(answerTo(client, postTo(server.url())).data, "{}");
        waitUntilClosed("127.0.0.1", std::stoi(server.port()));
    }

    EXPECT_EQ(server.connections(), 20U);
}

TEST(LinuxHTTPClientConnectionQuirk, RequestIsNotRepeatedWhenAKeptConnectionDies)
{
    LoopbackServer server([](const LoopbackRequest& request) {
        return request.number == 0 ? LoopbackReply::answer(200, "{}") : LoopbackReply::close();
    });
    LinuxHTTPClient client;
    ASSERT_EQ(answerTo(client, postTo(server.url())).data, "{}");

    HTTPAnswer answer = answerTo(client, postTo(server.url(), "once"));

    EXPECT_TRUE(answer.error);
    EXPECT_EQ(server.received().size(), 2U);
}

TEST(LinuxHTTPClientConnectionTest, ManyThreadsMaySendAtOnce)
{
    LoopbackServer server([](const LoopbackRequest&) { return LoopbackReply::answer(200, "{}"); });
    std::atomic<int> answers { 0 };
    LinuxHTTPClient client(patient());

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

TEST(LinuxHTTPClientConnectionTest, SendDoesNotWaitForTheNetwork)
{
    LoopbackServer server([](const LoopbackRequest&) { return LoopbackReply::silence(); });
    LinuxHTTPClient client;

    for (int number = 0; number < 1000; ++number)
        client.send(postTo(server.url()), [](HTTPAnswer) {});

    EXPECT_EQ(client.inFlight(), 1000U);
}

} // namespace
} // namespace telvora
