#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <tests/Platform/Linux/HTTPTesting.h>
#include <tests/Platform/Linux/TLSServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace telvora {
namespace {

using testing::HasSubstr;

LinuxHTTPOptions trusting(const std::string& authorityFile)
{
    LinuxHTTPOptions options;
    options.authorityFile = authorityFile;
    return options;
}

TEST(LinuxHTTPClientTLSTest, ServerOfATrustedAuthorityIsAnswered)
{
    TLSServer server;
    LinuxHTTPClient client(trusting(server.authorityFile()));

    EXPECT_EQ(answerTo(client, postTo(server.url("/a"))).data, "/a");
    EXPECT_EQ(answerTo(client, postTo(server.url("/b"))).data, "/b");
}

TEST(LinuxHTTPClientTLSTest, KeptConnectionThatTheServerHasClosedIsReplaced)
{
    TLSServer server;
    LinuxHTTPClient client(trusting(server.authorityFile()));

    for (int number = 0; number < 10; ++number) {
        ASSERT_EQ(answerTo(client, postTo(server.url("/last"))).data, "/last");
        waitUntilClosed("127.0.0.1", std::stoi(server.port()));
    }
}

TEST(LinuxHTTPClientTLSTest, ServerOfAnUnknownAuthorityIsRefused)
{
    TLSServer server;
    LinuxHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(server.url()));

    EXPECT_THAT(answer.error.value_or(""), HasSubstr("certificate"));
    EXPECT_FALSE(answer.data);
}

TEST(LinuxHTTPClientTLSTest, ServerOfAnotherNameIsRefused)
{
    TLSServer server(TLSServer::Wants::AnyClient, "127.0.0.2");
    LinuxHTTPClient client(trusting(server.authorityFile()));

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
}

TEST(LinuxHTTPClientTLSTest, OtherAuthorityIsNotTrustedBesideTheGivenOne)
{
    TLSServer server;
    TLSServer other;
    LinuxHTTPClient client(trusting(other.authorityFile()));

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
    EXPECT_EQ(answerTo(client, postTo(other.url("/ok"))).data, "/ok");
}

TEST(LinuxHTTPClientTLSTest, MissingAuthorityFileIsAnError)
{
    TLSServer server;
    LinuxHTTPClient client(trusting(server.file("none.pem")));

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
}

TEST(LinuxHTTPClientTLSTest, AuthorityFromTheEnvironmentIsNotTrusted)
{
    TLSServer server;
    for (const char* name : { "SSL_CERT_FILE", "CURL_CA_BUNDLE", "REQUESTS_CA_BUNDLE" })
        setenv(name, server.authorityFile().c_str(), 1);
    setenv("SSL_CERT_DIR", server.file("").c_str(), 1);
    LinuxHTTPClient client;

    EXPECT_TRUE(answerTo(client, postTo(server.url())).error);
}

TEST(LinuxHTTPClientTLSTest, CertificateIsShownWhereItIsAskedFor)
{
    TLSServer server(TLSServer::Wants::CertifiedClient);
    LinuxHTTPOptions options = trusting(server.authorityFile());
    options.certificateFile = server.file("client.pem");
    options.keyFile = server.file("client.key");
    LinuxHTTPClient certified(options);
    LinuxHTTPClient unknown(trusting(server.authorityFile()));

    EXPECT_EQ(answerTo(certified, postTo(server.url("/in"))).data, "/in");
    EXPECT_TRUE(answerTo(unknown, postTo(server.url("/in"))).error);
}

TEST(LinuxHTTPClientTLSTest, ManyRequestsAtOnceAreAllAnswered)
{
    TLSServer server;
    std::atomic<int> answers { 0 };
    LinuxHTTPClient client(trusting(server.authorityFile()));

    for (int number = 0; number < 300; ++number)
        client.send(postTo(server.url("/many"), std::string(1000, 'x')),
            [&](HTTPAnswer answer) { answers += answer.data == "/many"; });

    EXPECT_TRUE(settle(client));
    EXPECT_EQ(answers, 300);
}

TEST(LinuxHTTPClientTLSTest, PlainTextIsNotTakenForASecureAnswer)
{
    TLSServer server;
    LinuxHTTPClient client(trusting(server.authorityFile()));
    std::string plain = server.url();
    plain.replace(0, 5, "http");

    EXPECT_TRUE(answerTo(client, postTo(plain)).error);
}

} // namespace
} // namespace telvora
