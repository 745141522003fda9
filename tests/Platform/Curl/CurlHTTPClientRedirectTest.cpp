#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>
#include <tests/Platform/Curl/TLSServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace telvora::detail {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

/// A POST with host-only headers, listed or known as such, and another header.
HTTPRequest identifyingPostTo(std::string url)
{
    HTTPRequest request = postTo(std::move(url));
    request.headers = { { "QVX-UUID", "1" }, { "x-own", "2" }, { "Authorization", "3" },
        { "cookie", "4" }, { "x-trace-id", "5" } };
    request.hostOnlyHeaders = { "qvx-uuid", "x-own" };
    return request;
}

const std::vector<std::string> identifying { "QVX-UUID", "x-own", "Authorization", "cookie" };

CurlHTTPOptions trusting(const TLSServer& server)
{
    CurlHTTPOptions options;
    options.authorityFile = server.authorityFile();
    return options;
}

TEST(CurlHTTPClientRedirectTest, RedirectKeepsMethodBodyAndHeaders)
{
    for (int status : { 301, 302, 303, 307, 308 }) {
        LoopbackServer server([&](const LoopbackRequest& request) {
            return request.target == "/" ? LoopbackReply::redirect(status, "/moved")
                                         : LoopbackReply::answer(200, "there");
        });
        RealHTTPClient client;
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

TEST(CurlHTTPClientRedirectTest, RedirectToAnotherSchemeIsAnError)
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

TEST(CurlHTTPClientRedirectTest, EndlessRedirectIsAnError)
{
    LoopbackServer server(always(LoopbackReply::redirect(307, "/again")));
    RealHTTPClient client;

    EXPECT_EQ(answerTo(client, postTo(server.url())).error, "Too many redirects");
    EXPECT_EQ(server.received().size(), 11U);
}

TEST(CurlHTTPClientRedirectTest, RedirectToNowhereIsAnAnswer)
{
    HTTPAnswer answer = answerFor(LoopbackReply::answer(302, "{}"));

    EXPECT_EQ(answer.data, "{}");
    EXPECT_EQ(answer.status, 302);
}

TEST(CurlHTTPClientRedirectTest, HeadersGoOnWithinTheServerAndPort)
{
    LoopbackServer server([](const LoopbackRequest& request) {
        return request.target == "/" ? LoopbackReply::redirect(307, "/moved")
                                     : LoopbackReply::answer(200, "there");
    });
    RealHTTPClient client;

    answerTo(client, identifyingPostTo(server.url()));

    ASSERT_EQ(server.received().size(), 2U);
    EXPECT_THAT(server.received()[1].headerNames(), IsSupersetOf(identifying));
}

TEST(CurlHTTPClientRedirectTest, HostOnlyHeadersStayAndTheOthersGoOn)
{
    LoopbackServer other(always(LoopbackReply::answer(200, "there")));
    LoopbackServer server(always(LoopbackReply::redirect(307, other.url())));
    RealHTTPClient client;

    EXPECT_EQ(answerTo(client, identifyingPostTo(server.url())).data, "there");

    ASSERT_EQ(other.received().size(), 1U);
    const LoopbackRequest arrived = other.received().front();
    for (const std::string& name : identifying)
        EXPECT_THAT(arrived.headerNames(), Not(Contains(name)));
    EXPECT_EQ(arrived.header("x-trace-id"), "5");
    EXPECT_EQ(arrived.body, "{}");
}

TEST(CurlHTTPClientRedirectTest, SecureRequestIsNotRedirectedToAPlainOne)
{
    TLSServer server;
    LoopbackServer plain(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client(trusting(server));

    for (const char* status : { "301", "302", "303", "307", "308" }) {
        const std::string target = "/to/" + std::string(status) + "?" + plain.url();
        const HTTPAnswer answer = answerTo(client, postTo(server.url(target)));
        EXPECT_EQ(answer.error, "Redirect from https to http") << status;
        EXPECT_FALSE(answer.data) << status;
    }
    EXPECT_THAT(plain.received(), IsEmpty());
}

TEST(CurlHTTPClientRedirectTest, SecureRequestIsRedirectedToASecureOne)
{
    TLSServer server;
    RealHTTPClient client(trusting(server));

    const HTTPAnswer answer
        = answerTo(client, identifyingPostTo(server.url("/to/308?" + server.url("/headers"))));

    EXPECT_THAT(answer.data.value_or(""), testing::HasSubstr("x-trace-id"));
    EXPECT_THAT(answer.data.value_or(""), testing::HasSubstr("QVX-UUID"));
}

TEST(CurlHTTPClientRedirectTest, PlainRequestIsRedirectedToASecureOne)
{
    TLSServer server;
    LoopbackServer plain(always(LoopbackReply::redirect(301, server.url("/headers"))));
    RealHTTPClient client(trusting(server));

    const HTTPAnswer answer = answerTo(client, identifyingPostTo(plain.url()));

    EXPECT_THAT(answer.data.value_or(""), testing::HasSubstr("x-trace-id"));
    EXPECT_THAT(answer.data.value_or(""), Not(testing::HasSubstr("QVX-UUID")));
}

} // namespace
} // namespace telvora::detail
