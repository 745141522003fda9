#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <tests/Platform/Linux/HTTPTesting.h>
#include <tests/Platform/Linux/LoopbackServer.h>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <string_view>

using namespace std::chrono_literals;

namespace {

constexpr std::string_view silentHost = "silent.invalid";
constexpr auto silence = 15s;
std::atomic<bool> s_areDescriptorsUsedUp { false };

/// The C library's own, whose name ours takes.
template<typename Function> Function* systems(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These stand before the C library's, for libcurl too. A resolver whose servers never answer:
extern "C" int getaddrinfo(
    const char* name, const char* service, const addrinfo* hints, addrinfo** result)
{
    if (name && name == silentHost) {
        std::this_thread::sleep_for(silence);
        return EAI_AGAIN;
    }
    return systems<decltype(getaddrinfo)>("getaddrinfo")(name, service, hints, result);
}

// A system without descriptors, as libcurl meets it when it makes its means to be woken:
extern "C" int socketpair(int domain, int type, int protocol, int* sockets)
{
    if (s_areDescriptorsUsedUp) {
        errno = EMFILE;
        return -1;
    }
    return systems<decltype(socketpair)>("socketpair")(domain, type, protocol, sockets);
}

extern "C" int eventfd(unsigned int count, int flags)
{
    if (s_areDescriptorsUsedUp) {
        errno = EMFILE;
        return -1;
    }
    return systems<decltype(eventfd)>("eventfd")(count, flags);
}

namespace telvora {
namespace {

const std::string silentURL = "http://" + std::string(silentHost) + "/";

TEST(LinuxHTTPClientSystemTest, SilentResolverIsTimedOut)
{
    LinuxHTTPClient client;
    auto start = std::chrono::steady_clock::now();

    HTTPAnswer answer = answerTo(client, postTo(silentURL, "{}", 1s));

    EXPECT_THAT(answer.error.value_or(""), testing::HasSubstr("Timed out"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(LinuxHTTPClientSystemTest, SilentResolverHoldsNobodyElseBack)
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

TEST(LinuxHTTPClientSystemTest, SilentResolverDoesNotHoldTheClientsEndBack)
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

TEST(LinuxHTTPClientSystemTest, WantOfDescriptorsIsAnErrorAndPasses)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    LinuxHTTPClient client;

    s_areDescriptorsUsedUp = true;
    HTTPAnswer during = answerTo(client, postTo(server.url()));
    s_areDescriptorsUsedUp = false;
    HTTPAnswer after = answerTo(client, postTo(server.url()));

    EXPECT_THAT(during.error.value_or(""), testing::HasSubstr("does not start"));
    EXPECT_EQ(after.data, "{}");
    EXPECT_EQ(server.received().size(), 1U);
}

} // namespace
} // namespace telvora
