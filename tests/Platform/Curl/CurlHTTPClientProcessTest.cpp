#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

LoopbackReply ok(const LoopbackRequest&)
{
    return LoopbackReply::answer(200, "{}");
}

TEST(CurlHTTPClientProcessTest, ThreadIsNamedAndTakesNoSignal)
{
    LoopbackServer server(ok);
    RealHTTPClient client;
    answerTo(client, postTo(server.url()));

    std::vector<std::string> masks = statusOfThreads("telvora-http", "SigBlk");

    ASSERT_EQ(masks.size(), 1U);
    std::uint64_t blocked = std::stoull(masks[0], nullptr, 16);
    for (int signal = 1; signal < 32; ++signal) {
        bool isBlocked = blocked >> (signal - 1) & 1;
        EXPECT_TRUE(isBlocked || signal == SIGKILL || signal == SIGSTOP) << signal;
    }
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
        EXPECT_TRUE(blocked >> (signal - 1) & 1) << signal;
}

TEST(CurlHTTPClientProcessTest, SignalMaskOfTheSenderStaysAsItWas)
{
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    LoopbackServer server(ok);
    RealHTTPClient client;

    answerTo(client, postTo(server.url()));

    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMAX; ++signal)
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
}

TEST(CurlHTTPClientProcessTest, IdleThreadDoesNotWakeUp)
{
    LoopbackServer server(ok);
    RealHTTPClient client;
    answerTo(client, postTo(server.url(), "{}", 1s));
    ASSERT_TRUE(settle(client));

    // On a busy machine the thread may take its time to come to rest.
    std::vector<std::string> before;
    std::vector<std::string> after;
    for (int attempt = 0; attempt < 20 && (after.empty() || before != after); ++attempt) {
        before = statusOfThreads("telvora-http", "voluntary_ctxt_switches");
        std::this_thread::sleep_for(1500ms);
        after = statusOfThreads("telvora-http", "voluntary_ctxt_switches");
    }

    ASSERT_EQ(before.size(), 1U);
    EXPECT_EQ(before, after);
}

/// How many sockets a program finds open that this process starts.
int inheritedSockets()
{
    FILE* program = ::popen("ls -l /proc/self/fd | grep -c socket:", "r");
    int count = -1;
    EXPECT_EQ(std::fscanf(program, "%d", &count), 1);
    ::pclose(program);
    return count;
}

TEST(CurlHTTPClientProcessTest, ProgramThatTheHostStartsInheritsNoSocketOfAnUpload)
{
    // Who runs the tests may have left some open.
    const int before = inheritedSockets();
    LoopbackServer server(always(LoopbackReply::silence()));
    RealHTTPClient client;

    for (int number = 0; number < 3; ++number)
        client.send(postTo(server.url()), [](HTTPAnswer) {});
    ASSERT_TRUE(server.waitForRequests(3));

    EXPECT_EQ(inheritedSockets(), before);
}

TEST(CurlHTTPClientProcessTest, SocketsOfTheHostAreInheritedAsBefore)
{
    int pair[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ASSERT_EQ(::write(pair[0], "unread", 6), 6);
    LoopbackServer server(ok);
    RealHTTPClient client;

    answerTo(client, postTo(server.url()));

    EXPECT_EQ(::fcntl(pair[0], F_GETFD), 0);
    EXPECT_EQ(::fcntl(pair[1], F_GETFD), 0);
    ::close(pair[0]);
    ::close(pair[1]);
}

} // namespace
} // namespace telvora::detail
