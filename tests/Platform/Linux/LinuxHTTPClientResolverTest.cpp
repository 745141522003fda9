#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <tests/Platform/Linux/HTTPTesting.h>
#include <tests/Platform/Linux/LoopbackServer.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <string_view>

using namespace std::chrono_literals;

namespace {

constexpr std::string_view silentHost = "silent.invalid";
constexpr auto silence = 15s;

} // namespace

// Stands before the C library's, for libcurl too: a resolver whose servers never answer.
extern "C" int getaddrinfo(
    const char* name, const char* service, const addrinfo* hints, addrinfo** result)
{
    using Resolve = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    if (name && name == silentHost) {
        std::this_thread::sleep_for(silence);
        return EAI_AGAIN;
    }
    auto resolve = reinterpret_cast<Resolve>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return resolve(name, service, hints, result);
}

namespace telvora {
namespace {

const std::string silentURL = "http://" + std::string(silentHost) + "/";

TEST(LinuxHTTPClientResolverTest, SilentResolverIsTimedOut)
{
    LinuxHTTPClient client;
    auto start = std::chrono::steady_clock::now();

    HTTPAnswer answer = answerTo(client, postTo(silentURL, "{}", 1s));

    EXPECT_THAT(answer.error.value_or(""), testing::HasSubstr("Timed out"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(LinuxHTTPClientResolverTest, SilentResolverHoldsNobodyElseBack)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    LinuxHTTPClient client;
    auto start = std::chrono::steady_clock::now();
    AnswerToCome silent(client, postTo(silentURL, "{}", 1s));

    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");
    EXPECT_TRUE(silent.wait()->error);
    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");

    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(LinuxHTTPClientResolverTest, SilentResolverDoesNotHoldTheClientsEndBack)
{
    bool isError = false;
    auto start = std::chrono::steady_clock::now();
    {
        LinuxHTTPClient client;
        client.send(postTo(silentURL), [&](HTTPAnswer answer) { isError = !!answer.error; });
        std::this_thread::sleep_for(200ms);
    }

    EXPECT_TRUE(isError);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

} // namespace
} // namespace telvora
