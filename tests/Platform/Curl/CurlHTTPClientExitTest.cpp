#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/ChildProcess.h>
#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>
#include <tests/Platform/Curl/TLSServer.h>

#include <gtest/gtest.h>

#include <vector>

namespace telvora::detail {
namespace {

LoopbackReply ok(const LoopbackRequest&)
{
    return LoopbackReply::answer(200, "{}");
}

TEST(CurlHTTPClientExitTest, ExitDoesNotWaitForACompletion)
{
    EXPECT_EQ(endOfChild([] {
        auto* server = new LoopbackServer(ok);
        auto* client = new RealHTTPClient;
        std::promise<void> isRunning;
        client->send(postTo(server->url()), [&](HTTPAnswer) {
            isRunning.set_value();
            pause();
        });
        isRunning.get_future().wait();
    }),
        "exited 0");
}

TEST(CurlHTTPClientExitTest, CompletionMayEndTheProcess)
{
    EXPECT_EQ(endOfChild([] {
        auto* server = new LoopbackServer(ok);
        auto* client = new RealHTTPClient;
        client->send(postTo(server->url()), [](HTTPAnswer) { std::exit(5); });
        pause();
    }),
        "exited 5");
}

TEST(CurlHTTPClientExitTest, ClientThatIsDestroyedDuringExitDoesNotHang)
{
    EXPECT_EQ(endOfChild([] {
        auto* server
            = new LoopbackServer([](const LoopbackRequest&) { return LoopbackReply::silence(); });
        static RealHTTPClient client;
        client.send(postTo(server->url()), [](HTTPAnswer) { ::_exit(3); });
        server->waitForRequests(1);
    }),
        "exited 0");
}

TEST(CurlHTTPClientExitTest, HandlersThatTheHostGaveToOpenSSLRunAtTheEnd)
{
    using AtExit = int(void (*)());
    auto* atOpenSSLsExit = reinterpret_cast<AtExit*>(dlsym(RTLD_DEFAULT, "OPENSSL_atexit"));
    ASSERT_TRUE(atOpenSSLsExit);

    EXPECT_EQ(endOfChild([&] {
        auto* server = new LoopbackServer(ok);
        auto* client = new RealHTTPClient;
        answerTo(*client, postTo(server->url()));
        atOpenSSLsExit([] { ::_exit(7); });
    }),
        "exited 7");
}

/// Ends 200 processes, ten at a time, each a little later in its uploads than the one before.
class CurlHTTPClientSecureExitTest : public testing::Test {
protected:
    template<typename Body> void endAfter(Body body)
    {
        for (int batch = 0; batch < 20; ++batch) {
            std::vector<pid_t> children;
            for (int number = 0; number < 10; ++number) {
                auto delay = std::chrono::microseconds((batch * 10 + number) * 97);
                children.push_back(startChild([&] { body(delay); }));
            }
            for (pid_t child : children)
                ASSERT_EQ(endOf(child), "exited 0") << "in batch " << batch;
        }
    }

    std::unique_ptr<RealHTTPClient> clientThatUploads()
    {
        CurlHTTPOptions options;
        options.authorityFile = m_server.authorityFile();
        auto client = std::make_unique<RealHTTPClient>(options);
        for (int number = 0; number < 20; ++number)
            client->send(postTo(m_server.url(), std::string(30'000, 'x')), [](HTTPAnswer) {});
        return client;
    }

    /// As in a host, where nothing ever destroys the client.
    void uploadFor(std::chrono::microseconds delay)
    {
        static_cast<void>(clientThatUploads().release());
        std::this_thread::sleep_for(delay);
    }

private:
    TLSServer m_server;
};

TEST_F(CurlHTTPClientSecureExitTest, ProcessEndsCleanlyDuringUploads)
{
    endAfter([&](auto delay) { uploadFor(delay); });
}

TEST_F(CurlHTTPClientSecureExitTest, ProcessThatUsedOpenSSLBeforeEndsCleanlyDuringUploads)
{
    endAfter([&](auto delay) {
        useOpenSSL();
        uploadFor(delay);
    });
}

TEST_F(CurlHTTPClientSecureExitTest, ProcessEndsCleanlyRightAfterItsClient)
{
    endAfter([&](auto delay) {
        auto client = clientThatUploads();
        std::this_thread::sleep_for(delay);
        client.reset();
    });
}

} // namespace
} // namespace telvora::detail
