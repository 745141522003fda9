#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

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
std::atomic<bool> s_mayResolverAnswer { false };
std::atomic<bool> s_areDescriptorsUsedUp { false };

/// The function of the C library that ours replaces.
template<typename Function> Function* systems(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These functions replace those of the C library, for libcurl too. This resolver gets no answer
// from its servers until s_mayResolverAnswer is set.
extern "C" int getaddrinfo(
    const char* name, const char* service, const addrinfo* hints, addrinfo** result)
{
    if (name && name == silentHost) {
        s_mayResolverAnswer.wait(false);
        return EAI_AGAIN;
    }
    return systems<decltype(getaddrinfo)>("getaddrinfo")(name, service, hints, result);
}

// The system refuses libcurl the descriptors through which it is woken.
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

namespace telvora::detail {
namespace {

const std::string silentURL = "http://" + std::string(silentHost) + "/";

/// The resolver is silent for as long as the case lasts. ctest ends one that waits for it.
class SilentResolverTest : public testing::Test {
protected:
    ~SilentResolverTest() override
    {
        s_mayResolverAnswer = true;
        s_mayResolverAnswer.notify_all();
    }
};

TEST_F(SilentResolverTest, RequestIsTimedOut)
{
    RealHTTPClient client;

    HTTPAnswer answer = answerTo(client, postTo(silentURL, "{}", 1s));

    EXPECT_THAT(answer.error.value_or(""), testing::HasSubstr("Timed out"));
}

TEST_F(SilentResolverTest, OtherRequestsGoOn)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client;
    AnswerToCome silent(client, postTo(silentURL, "{}", 1s));

    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");
    EXPECT_TRUE(silent.wait()->error);
    EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");
}

TEST_F(SilentResolverTest, ClientEnds)
{
    bool isError = false;
    {
        RealHTTPClient client;
        client.send(postTo(silentURL), [&](HTTPAnswer answer) { isError = !!answer.error; });
        std::this_thread::sleep_for(200ms);
    }

    EXPECT_TRUE(isError);
}

TEST(CurlHTTPClientSystemTest, NoDescriptorsIsATemporaryError)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client;

    s_areDescriptorsUsedUp = true;
    HTTPAnswer during = answerTo(client, postTo(server.url()));
    s_areDescriptorsUsedUp = false;
    HTTPAnswer after = answerTo(client, postTo(server.url()));

    EXPECT_THAT(during.error.value_or(""), testing::HasSubstr("does not start"));
    EXPECT_EQ(after.data, "{}");
    EXPECT_EQ(server.received().size(), 1U);
}

} // namespace
} // namespace telvora::detail
