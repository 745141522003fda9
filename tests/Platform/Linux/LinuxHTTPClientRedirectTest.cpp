#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <tests/Platform/Linux/HTTPTesting.h>
#include <tests/Platform/Linux/LoopbackServer.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace telvora {
namespace {

TEST(LinuxHTTPClientRedirectTest, RedirectKeepsMethodBodyAndHeaders)
{
    for (int status : { 301, 302, 303, 307, 308 }) {
        LoopbackServer server([&](const LoopbackRequest& request) {
            return request.target == "/" ? LoopbackReply::redirect(status, "/moved")
                                         : LoopbackReply::answer(200, "there");
        });
        LinuxHTTPClient client;
        std::string body(200'000, 'b');

        HTTPAnswer answer = answerTo(client, postTo(server.url(), body));

        EXPECT_EQ(answer.data, "there") << status;
        ASSERT_EQ(server.received().size(), 2U) << status;
        LoopbackRequest second = server.received()[1];
        EXPECT_EQ(second.method, "POST") << status;
        EXPECT_EQ(second.target, "/moved") << status;
        EXPECT_EQ(second.body, body) << status;
        EXPECT_EQ(second.header("Content-Type"), "application/json") << status;
    }
}

TEST(LinuxHTTPClientRedirectTest, RedirectToAnotherSchemeIsAnError)
{
    std::string secret = testing::TempDir() + "telvora-redirect-" + std::to_string(getpid());
    std::ofstream(secret) << "secret";

    for (const std::string& target : { "file://" + secret, std::string("ftp://127.0.0.1/x"),
             std::string("gopher://127.0.0.1/x") }) {
        HTTPAnswer answer = answerFor(LoopbackReply::redirect(307, target));

        EXPECT_TRUE(answer.error) << target;
        EXPECT_FALSE(answer.data) << target;
    }
    unlink(secret.c_str());
}

TEST(LinuxHTTPClientRedirectTest, EndlessRedirectIsAnError)
{
    LoopbackServer server(always(LoopbackReply::redirect(307, "/again")));
    LinuxHTTPClient client;

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
    EXPECT_LE(server.received().size(), 20U);
}

TEST(LinuxHTTPClientRedirectTest, RedirectToNowhereIsAnAnswer)
{
    HTTPAnswer answer = answerFor(LoopbackReply::answer(302, "{}"));

    EXPECT_EQ(answer.data, "{}");
    EXPECT_EQ(answer.status, 302);
}

} // namespace
} // namespace telvora
