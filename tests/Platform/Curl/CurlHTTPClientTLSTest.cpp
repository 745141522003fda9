#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/TLSServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace telvora::detail {
namespace {

using testing::HasSubstr;

CurlHTTPOptions trusting(const std::string& authorityFile)
{
    CurlHTTPOptions options;
    options.authorityFile = authorityFile;
    return options;
}

TEST(CurlHTTPClientTLSTest, ServerOfATrustedAuthorityIsAnswered)
{
    TLSServer server;
    RealHTTPClient client(trusting(server.authorityFile()));

    EXPECT_EQ(answerTo(client, postTo(server.url("/a"))).data, "/a");
    EXPECT_EQ(answerTo(client, postTo(server.url("/b"))).data, "/b");
}

TEST(CurlHTTPClientTLSTest, KeptConnectionThatTheServerHasClosedIsReplaced)
{
    TLSServer server;
    RealHTTPClient client(trusting(server.authorityFile()));

    for (int number = 0; number < 10; ++number) {
        ASSERT_EQ(answerTo(client, postTo(server.url("/last"))).data, "/last");
        waitUntilClosed("127.0.0.1", std::stoi(server.port()));
    }
}

TEST(CurlHTTPClientTLSTest, ServerOfAnUnknownAuthorityIsRefused)
{
    TLSServer server;
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(server.url()));

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("certificate"));
    EXPECT_FALSE(answer.data);
}

TEST(CurlHTTPClientTLSTest, ServerOfAnotherNameIsRefused)
{
    TLSServer server(TLSServer::Wants::AnyClient, "127.0.0.2");
    RealHTTPClient client(trusting(server.authorityFile()));

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
}

TEST(CurlHTTPClientTLSTest, OtherAuthorityIsNotTrustedBesideTheGivenOne)
{
    TLSServer server;
    TLSServer other;
    RealHTTPClient client(trusting(other.authorityFile()));

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
    EXPECT_EQ(answerTo(client, postTo(other.url("/ok"))).data, "/ok");
}

TEST(CurlHTTPClientTLSTest, MissingAuthorityFileIsAnError)
{
    TLSServer server;
    RealHTTPClient client(trusting(server.file("none.pem")));

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
}

TEST(CurlHTTPClientTLSTest, AuthorityFromTheEnvironmentIsNotTrusted)
{
    TLSServer server;
    for (const char* name : { "SSL_CERT_FILE", "CURL_CA_BUNDLE", "REQUESTS_CA_BUNDLE" })
        setenv(name, server.authorityFile().c_str(), 1);
    setenv("SSL_CERT_DIR", server.file("").c_str(), 1);
    RealHTTPClient client;

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
}

TEST(CurlHTTPClientTLSTest, CertificateIsShownWhereItIsAskedFor)
{
    TLSServer server(TLSServer::Wants::CertifiedClient);
    CurlHTTPOptions options = trusting(server.authorityFile());
    options.certificateFile = server.file("client.pem");
    options.keyFile = server.file("client.key");
    RealHTTPClient certified(options);
    RealHTTPClient unknown(trusting(server.authorityFile()));

    EXPECT_EQ(answerTo(certified, postTo(server.url("/in"))).data, "/in");
    EXPECT_TRUE(answerTo(unknown, postTo(server.url("/in"))).error);
}

TEST(CurlHTTPClientTLSTest, ManyRequestsAtOnceAreAllAnswered)
{
    TLSServer server;
    std::atomic<int> answers { 0 };
    RealHTTPClient client(trusting(server.authorityFile()));

    for (int number = 0; number < 300; ++number)
        client.send(postTo(server.url("/many"), std::string(1000, 'x')),
            [&](HTTPAnswer answer) { answers += answer.data == "/many"; });

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(answers, 300);
}

TEST(CurlHTTPClientTLSTest, PlainTextIsNotTakenForASecureAnswer)
{
    TLSServer server;
    RealHTTPClient client(trusting(server.authorityFile()));
    std::string plain = server.url();
    plain.replace(0, 5, "http");

    EXPECT_TRUE(answerTo(client, postTo(plain)).error);
}

} // namespace
} // namespace telvora::detail
