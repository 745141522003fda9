#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>
#include <tests/Platform/Curl/TLSServer.h>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace telvora::detail {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::Not;

LoopbackReply ok(const LoopbackRequest&)
{
    return LoopbackReply::answer(200, "{}");
}

class CurlHTTPClientEnvironmentTest : public testing::Test {
protected:
    LoopbackServer server { ok };
    LoopbackServer proxy { ok };
};

TEST_F(CurlHTTPClientEnvironmentTest, ProxyFromTheEnvironmentIsNotUsed)
{
    for (const char* name :
        { "http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY" })
        setenv(name, proxy.url().c_str(), 1);
    RealHTTPClient client;

    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");
    EXPECT_TRUE(answerTo(client, postTo("https://nobody.invalid/")).error);
    EXPECT_THAT(proxy.received(), IsEmpty());
}

TEST_F(CurlHTTPClientEnvironmentTest, GivenProxyIsUsedWhateverTheEnvironmentExempts)
{
    setenv("no_proxy", "*", 1);
    setenv("NO_PROXY", "127.0.0.1,nobody.invalid", 1);
    CurlHTTPOptions options;
    options.proxy = proxy.url();
    RealHTTPClient client(options);

    EXPECT_EQ(answerTo(client, postTo("http://nobody.invalid/x")).data, "{}");

    ASSERT_EQ(proxy.received().size(), 1U);
    EXPECT_EQ(proxy.received()[0].target, "http://nobody.invalid/x");
}

TEST_F(CurlHTTPClientEnvironmentTest, HeadersOfASecureRequestAreNotShownToTheProxy)
{
    LoopbackServer strict([](const LoopbackRequest&) { return LoopbackReply::answer(403, ""); });
    CurlHTTPOptions options;
    options.proxy = strict.url();
    RealHTTPClient client(options);
    HTTPRequest request = postTo("https://nobody.invalid/x");
    request.headers.emplace_back("QVX-UUID", "mine");

    EXPECT_TRUE(answerTo(client, request).error);

    ASSERT_GE(strict.received().size(), 1U);
    EXPECT_EQ(strict.received()[0].method, "CONNECT");
    EXPECT_EQ(strict.received()[0].target, "nobody.invalid:443");
    EXPECT_THAT(strict.received()[0].headerNames(), Not(Contains("QVX-UUID")));
}

TEST_F(CurlHTTPClientEnvironmentTest, FilesInTheHomeFolderAreNotRead)
{
    std::filesystem::path home
        = std::filesystem::temp_directory_path() / ("telvora-home-" + server.port());
    std::filesystem::create_directory(home);
    std::ofstream(home / ".netrc") << "machine 127.0.0.1 login me password secret\n";
    std::ofstream(home / ".curlrc") << "proxy = " << proxy.url() << "\nuser-agent = other\n";
    std::filesystem::permissions(home / ".netrc", std::filesystem::perms::owner_read);
    setenv("HOME", home.c_str(), 1);
    setenv("CURL_HOME", home.c_str(), 1);
    RealHTTPClient client;

    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");

    std::filesystem::remove_all(home);
    EXPECT_THAT(proxy.received(), IsEmpty());
    EXPECT_EQ(server.received().at(0).header("Authorization"), "");
    EXPECT_THAT(server.received().at(0).header("User-Agent"), testing::StartsWith("Telvora/"));
}

/// One secure request by libcurl itself, as the host may make one.
void fetchByLibcurl(const TLSServer& server)
{
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(
        curl_easy_init(), &curl_easy_cleanup);
    curl_easy_setopt(handle.get(), CURLOPT_URL, server.url().c_str());
    curl_easy_setopt(handle.get(), CURLOPT_CAINFO, server.authorityFile().c_str());
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, "");
    curl_easy_setopt(
        handle.get(), CURLOPT_WRITEFUNCTION,
        +[](char*, std::size_t size, std::size_t count, void*) { return size * count; });
    EXPECT_EQ(curl_easy_perform(handle.get()), CURLE_OK);
}

TEST(CurlHTTPClientKeyLogTest, KeysAreNotWrittenToTheFileThatTheEnvironmentNames)
{
    TLSServer server;
    const std::string log = server.file("keys.log");
    setenv("SSLKEYLOGFILE", log.c_str(), 1);
    CurlHTTPOptions options;
    options.authorityFile = server.authorityFile();
    RealHTTPClient client(options);

    EXPECT_EQ(answerTo(client, postTo(server.url("/a"))).data, "/a");

    EXPECT_TRUE(!std::filesystem::exists(log) || std::filesystem::is_empty(log));
    // Those of the host's own connections are, as libcurl promises.
    fetchByLibcurl(server);
    EXPECT_FALSE(std::filesystem::is_empty(log));
}

} // namespace
} // namespace telvora::detail
