#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/ChildProcess.h>
#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>
#include <tests/Platform/Curl/TLSServer.h>

#include <gtest/gtest.h>

#include <thread>

namespace telvora::detail {
namespace {

LoopbackReply ok(const LoopbackRequest& request)
{
    return request.target == "/held" ? LoopbackReply::silence() : LoopbackReply::answer(200, "{}");
}

/// Ends the child with 3 where the answer to a request did not come before send() returned, and
/// with 4 where it is not an error.
void expectErrorAtOnce(HTTPClient& client, const std::string& url)
{
    bool isAnswered = false;
    client.send(postTo(url), [&, sender = std::this_thread::get_id()](HTTPAnswer answer) {
        isAnswered = std::this_thread::get_id() == sender;
        if (!answer.error || answer.data)
            ::_exit(4);
    });
    if (!isAnswered)
        ::_exit(3);
}

class CurlHTTPClientForkTest : public testing::Test {
protected:
    LoopbackServer server { ok };
};

TEST_F(CurlHTTPClientForkTest, ClientWorksInAChildForkedBeforeTheFirstRequest)
{
    RealHTTPClient client;

    const std::string end = endOfChild([&] {
        if (answerTo(client, postTo(server.url("/child"))).data != "{}")
            ::_exit(3);
    });

    EXPECT_EQ(end, "exited 0");
    EXPECT_EQ(answerTo(client, postTo(server.url("/parent"))).data, "{}");
}

TEST_F(CurlHTTPClientForkTest, ChildForkedLaterGetsAnErrorAtOnceAndTheParentGoesOn)
{
    RealHTTPClient client;
    AnswerToCome held(client, postTo(server.url("/held")));
    ASSERT_TRUE(server.waitForRequests(1));

    const std::string end = endOfChild([&] {
        expectErrorAtOnce(client, server.url("/child"));
        if (client.inFlight() != 0)
            ::_exit(5);
    });

    EXPECT_EQ(end, "exited 0");
    EXPECT_EQ(answerTo(client, postTo(server.url("/parent"))).data, "{}");
    EXPECT_EQ(server.received().size(), 2U);
}

TEST_F(CurlHTTPClientForkTest, ClientThatIsDestroyedInAChildEndsNothing)
{
    RealHTTPClient client;
    AnswerToCome held(client, postTo(server.url("/held")));
    ASSERT_TRUE(server.waitForRequests(1));

    const std::string end = endOfChild([&] { client.~RealHTTPClient(); });

    EXPECT_EQ(end, "exited 0");
    EXPECT_EQ(client.inFlight(), 1U);
}

TEST_F(CurlHTTPClientForkTest, ClientMadeInAChildForkedLaterGetsAnErrorAtOnce)
{
    RealHTTPClient client;
    answerTo(client, postTo(server.url()));

    EXPECT_EQ(endOfChild([&] {
        RealHTTPClient own;
        expectErrorAtOnce(own, server.url());
    }),
        "exited 0");
}

TEST_F(CurlHTTPClientForkTest, CompletionMayFork)
{
    RealHTTPClient client;
    std::promise<std::string> end;

    client.send(postTo(server.url()), [&](HTTPAnswer) { end.set_value(endOfChild([] {})); });

    EXPECT_EQ(end.get_future().get(), "exited 0");
}

// A fork copies the sanitizers' own locks as other threads left them: allocations hang in a child.
#ifndef TELVORA_SANITIZED
TEST_F(CurlHTTPClientForkTest, ChildThatReturnsFromACompletionLeavesTheConnectionsAlone)
{
    RealHTTPClient client;
    AnswerToCome held(client, postTo(server.url("/held")));
    std::promise<pid_t> child;

    client.send(postTo(server.url()), [&](HTTPAnswer) {
        const pid_t forked = ::fork();
        if (forked == 0)
            ::alarm(60);
        else
            child.set_value(forked);
    });

    EXPECT_EQ(endOf(child.get_future().get()), "exited 0");
    EXPECT_EQ(answerTo(client, postTo(server.url("/parent"))).data, "{}");
    // The held one alone, as soon as the client has noted the end of the last completion.
    while (client.inFlight() != 1)
        std::this_thread::yield();
}
#endif

// A fork copies the lock of the thread sanitizer's allocator as other threads left it. When
// OpenSSL's exit handler then frees memory, one child in some thousands waits for that lock for
// ever.
#ifndef TELVORA_THREAD_SANITIZED
/// Forks while secure uploads are under way, each time a little later in them. The children call
/// exit(), which runs OpenSSL's exit handler too.
class CurlHTTPClientSecureForkTest : public testing::Test {
protected:
    void forkDuringUploads()
    {
        CurlHTTPOptions options;
        options.authorityFile = m_server.authorityFile();
        RealHTTPClient client(options);
        for (int round = 0; round < 200; ++round) {
            for (int number = 0; number < 6; ++number)
                client.send(postTo(m_server.url(), std::string(30'000, 'x')), [](HTTPAnswer) {});
            std::this_thread::sleep_for(std::chrono::microseconds(round * 131 % 5000));
            ASSERT_EQ(endOfChild([] {}), "exited 0") << round;
        }
        EXPECT_TRUE(settle(client));
    }

private:
    TLSServer m_server;
};

TEST_F(CurlHTTPClientSecureForkTest, ChildrenEndCleanly)
{
    forkDuringUploads();
}

TEST_F(CurlHTTPClientSecureForkTest, ChildrenOfAHostThatUsedOpenSSLBeforeEndCleanly)
{
    useOpenSSL();
    forkDuringUploads();
}
#endif

} // namespace
} // namespace telvora::detail
