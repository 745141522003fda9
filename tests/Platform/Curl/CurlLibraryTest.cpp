#include <Telvora/Platform/Curl/CurlLibrary.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

std::atomic<bool> s_isThreadSafe { true };
std::atomic<int> s_initializations { 0 };
std::atomic<std::thread::id> s_initializer {};

template<typename Function> Function* libcurls(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These functions replace those of libcurl.
extern "C" curl_version_info_data* curl_version_info(CURLversion version)
{
    static thread_local curl_version_info_data info;
    info = *libcurls<decltype(curl_version_info)>("curl_version_info")(version);
    if (s_isThreadSafe)
        info.features |= CURL_VERSION_THREADSAFE;
    else
        info.features &= ~CURL_VERSION_THREADSAFE;
    return &info;
}

extern "C" CURLcode curl_global_init(long flags)
{
    ++s_initializations;
    s_initializer = std::this_thread::get_id();
    return libcurls<decltype(curl_global_init)>("curl_global_init")(flags);
}

namespace telvora::detail {
namespace {

TEST(CurlLibraryTest, ClientsThreadInitializesAThreadSafeLibcurl)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client;
    EXPECT_EQ(s_initializations, 0);

    answerTo(client, postTo(server.url()));

    EXPECT_EQ(s_initializations, 1);
    EXPECT_NE(s_initializer.load(), std::this_thread::get_id());
}

TEST(CurlLibraryTest, LibcurlIsInitializedOnceForAllClients)
{
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient first;
    RealHTTPClient second;

    EXPECT_EQ(answerTo(first, postTo(server.url())).data, "{}");
    EXPECT_EQ(answerTo(second, postTo(server.url())).data, "{}");

    EXPECT_EQ(s_initializations, 1);
}

TEST(CurlLibraryTest, LibcurlThatIsNotThreadSafeIsNotUsed)
{
    s_isThreadSafe = false;
    LoopbackServer server(always(LoopbackReply::answer(200, "{}")));
    RealHTTPClient client;

    const HTTPAnswer answer = answerTo(client, postTo(server.url()));

    EXPECT_EQ(answer.data, std::nullopt);
    EXPECT_NE(answer.error, std::nullopt);
    EXPECT_EQ(s_initializations, 0);
}

} // namespace
} // namespace telvora::detail
