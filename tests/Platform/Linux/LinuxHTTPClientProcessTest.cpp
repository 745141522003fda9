#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <tests/Platform/Linux/HTTPTesting.h>
#include <tests/Platform/Linux/LoopbackServer.h>
#include <tests/Platform/Linux/TLSServer.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

namespace {

// In a forked child, where what only the parent's other threads pointed to looks lost, and where
// exit() in the middle of everything is what a case is about.
bool s_isChild = false;

} // namespace

// Read by the sanitizers where they are built in. The children here do start threads after a fork,
// and there are too many of them to linger for a second each.
extern "C" const char* __tsan_default_options()
{
    return "die_after_fork=0:atexit_sleep_ms=50";
}
extern "C" int __lsan_is_turned_off()
{
    return s_isChild;
}

namespace telvora {
namespace {

using namespace std::chrono_literals;

constexpr unsigned childLimitSeconds = 20;

/// Runs `body` in a child, which then ends by exit(); a child that hangs is ended by a signal.
template<typename Body> pid_t startChild(Body body)
{
    pid_t child = fork();
    if (child == 0) {
        s_isChild = true;
        alarm(childLimitSeconds);
        body();
        std::exit(0);
    }
    return child;
}

/// "exited 0", or what else became of the child.
std::string endOf(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? "exited " + std::to_string(WEXITSTATUS(status))
                             : "signal " + std::to_string(WTERMSIG(status));
}

LoopbackReply ok(const LoopbackRequest&)
{
    return LoopbackReply::answer(200, "{}");
}

TEST(LinuxHTTPClientProcessTest, ThreadIsNamedAndTakesNoSignal)
{
    LoopbackServer server(ok);
    LinuxHTTPClient client;
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

TEST(LinuxHTTPClientProcessTest, SignalMaskOfTheSenderStaysAsItWas)
{
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    LoopbackServer server(ok);
    LinuxHTTPClient client;

    answerTo(client, postTo(server.url()));

    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < SIGRTMAX; ++signal)
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
}

TEST(LinuxHTTPClientProcessTest, IdleThreadDoesNotWakeUp)
{
    LoopbackServer server(ok);
    LinuxHTTPClient client;
    answerTo(client, postTo(server.url(), "{}", 1s));
    ASSERT_TRUE(settle(client));
    std::this_thread::sleep_for(100ms);

    auto before = statusOfThreads("telvora-http", "voluntary_ctxt_switches");
    std::this_thread::sleep_for(1500ms);
    auto after = statusOfThreads("telvora-http", "voluntary_ctxt_switches");

    ASSERT_EQ(before.size(), 1U);
    EXPECT_EQ(before, after);
}

TEST(LinuxHTTPClientProcessTest, ForkedChildIsInertAndItsParentGoesOn)
{
    LoopbackServer server([](const LoopbackRequest& request) {
        return request.target == "/held" ? LoopbackReply::silence() : ok(request);
    });
    LinuxHTTPClient client;
    AnswerToCome held(client, postTo(server.url("/held")));
    ASSERT_TRUE(server.waitForRequests(1));

    pid_t child = startChild([&] {
        client.send(postTo(server.url("/child")), [](HTTPAnswer) { _exit(3); });
        if (!client.canParse("http://127.0.0.1/"))
            _exit(4);
        std::this_thread::sleep_for(200ms);
        client.~LinuxHTTPClient();
    });

    EXPECT_EQ(endOf(child), "exited 0");
    EXPECT_EQ(answerTo(client, postTo(server.url("/parent"))).data, "{}");
    EXPECT_EQ(server.received().size(), 2U);
}

TEST(LinuxHTTPClientProcessTest, ForkedChildMayMakeAClientOfItsOwn)
{
    LinuxHTTPClient client;
    std::string url;
    {
        LoopbackServer gone(ok);
        url = gone.url();
        answerTo(client, postTo(url));
    }

    pid_t child = startChild([&] {
        auto* own = new LinuxHTTPClient;
        if (!answerTo(*own, postTo(url)).error)
            _exit(3);
    });

    EXPECT_EQ(endOf(child), "exited 0");
}

TEST(LinuxHTTPClientProcessTest, ChildrenForkedDuringSecureUploadsEndCleanly)
{
    TLSServer server;
    LinuxHTTPOptions options;
    options.authorityFile = server.authorityFile();
    LinuxHTTPClient client(options);

    for (int round = 0; round < 50; ++round) {
        for (int number = 0; number < 6; ++number)
            client.send(postTo(server.url()), [](HTTPAnswer) {});
        std::this_thread::sleep_for(std::chrono::microseconds(round * 131 % 5000));
        ASSERT_EQ(endOf(startChild([] {})), "exited 0") << round;
    }

    EXPECT_TRUE(settle(client));
}

TEST(LinuxHTTPClientProcessTest, ExitDoesNotWaitForACompletion)
{
    pid_t child = startChild([] {
        auto* server = new LoopbackServer(ok);
        auto* client = new LinuxHTTPClient;
        std::promise<void> isRunning;
        client->send(postTo(server->url()), [&](HTTPAnswer) {
            isRunning.set_value();
            pause();
        });
        isRunning.get_future().wait();
    });

    EXPECT_EQ(endOf(child), "exited 0");
}

TEST(LinuxHTTPClientProcessTest, ClientThatIsDestroyedDuringExitDoesNotHang)
{
    pid_t child = startChild([] {
        auto* server
            = new LoopbackServer([](const LoopbackRequest&) { return LoopbackReply::silence(); });
        static LinuxHTTPClient client;
        client.send(postTo(server->url()), [](HTTPAnswer) { _exit(3); });
        server->waitForRequests(1);
    });

    EXPECT_EQ(endOf(child), "exited 0");
}

/// Ends 200 processes, ten at a time, each a little later in its uploads than the one before.
class LinuxHTTPClientExitTest : public testing::Test {
protected:
    template<typename Preparation> void endDuringUploads(Preparation prepare)
    {
        for (int batch = 0; batch < 20; ++batch) {
            std::vector<pid_t> children;
            for (int number = 0; number < 10; ++number) {
                auto delay = std::chrono::microseconds((batch * 10 + number) * 97);
                children.push_back(startChild([&] {
                    prepare();
                    upload(delay);
                }));
            }
            for (pid_t child : children)
                ASSERT_EQ(endOf(child), "exited 0") << "in batch " << batch;
        }
    }

private:
    void upload(std::chrono::microseconds delay)
    {
        LinuxHTTPOptions options;
        options.authorityFile = m_server.authorityFile();
        // As in a host, where nothing ever destroys it.
        auto* client = new LinuxHTTPClient(options);
        for (int number = 0; number < 20; ++number)
            client->send(postTo(m_server.url(), std::string(30'000, 'x')), [](HTTPAnswer) {});
        std::this_thread::sleep_for(delay);
    }

    TLSServer m_server;
};

TEST_F(LinuxHTTPClientExitTest, ProcessEndsCleanlyDuringSecureUploads)
{
    endDuringUploads([] {});
}

TEST_F(LinuxHTTPClientExitTest, ProcessThatUsedOpenSSLBeforeEndsCleanlyToo)
{
    endDuringUploads([] {
        // So that OpenSSL's exit handler is in place and runs in the middle of the uploads.
        using Initialize = int (*)(std::uint64_t, const void*);
        if (void* setUp = dlsym(RTLD_DEFAULT, "OPENSSL_init_ssl"))
            reinterpret_cast<Initialize>(setUp)(0, nullptr);
    });
}

} // namespace
} // namespace telvora
