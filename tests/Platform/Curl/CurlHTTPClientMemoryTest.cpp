#include <Telvora/Platform/Curl/CurlHTTPClient.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// How many allocations of the client's thread go well before the next one fails; none fails while
// it is negative.
std::atomic<long> s_allocationsLeft { -1 };
std::atomic<bool> s_doAllFail { false };

bool isOnClientsThread()
{
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    return std::strcmp(name, "telvora-http") == 0;
}

bool mustFail()
{
    if (s_allocationsLeft < 0 || !isOnClientsThread())
        return false;
    const long left = s_allocationsLeft.fetch_sub(1);
    if (left == 0 && s_doAllFail)
        s_allocationsLeft = 0;
    return left == 0;
}

} // namespace

// They replace those of the C++ library, in this program alone. If they were inlined, g++ would
// warn of a new and a delete that do not match.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return mustFail() ? nullptr : std::malloc(size ? size : 1);
}
[[gnu::noinline]] void* operator new(std::size_t size)
{
    void* memory = operator new(size, std::nothrow);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace telvora::detail {
namespace {

/// Requests of several kinds, while allocations fail on the client's thread.
class CurlHTTPClientMemoryTest : public testing::Test {
protected:
    ~CurlHTTPClientMemoryTest() override { s_allocationsLeft = -1; }

    /// Sends four requests and has the allocation after the first `count` fail, or all from there
    /// on. False if there were no more than `count`.
    bool sendWithout(CurlHTTPClient& client, long count, bool doAllFail)
    {
        answers = 0;
        errors = 0;
        s_doAllFail = doAllFail;
        s_allocationsLeft = count;
        for (const char* target : { "/", "/moved", "/long", "/" })
            client.send(postTo(server.url(target)), [this](HTTPAnswer answer) {
                answers += answer.data.has_value() != answer.error.has_value();
                errors += answer.error.has_value();
            });
        EXPECT_TRUE(settle(client));
        const bool hasFailed = s_allocationsLeft <= 0;
        s_allocationsLeft = -1;
        EXPECT_EQ(answers, 4);
        EXPECT_EQ(answerTo(client, postTo(server.url())).data, "{}");
        return hasFailed;
    }

    LoopbackServer server { [](const LoopbackRequest& request) {
        if (request.target == "/moved")
            return LoopbackReply::redirect(307, "/a/rather/long/way/to/where/it/is/now");
        return LoopbackReply::answer(
            200, request.target == "/long" ? std::string(100'000, 'x') : "{}");
    } };
    std::atomic<int> answers { 0 };
    std::atomic<int> errors { 0 };
};

TEST_F(CurlHTTPClientMemoryTest, AllocationThatFailsIsTheErrorOfOneRequestAlone)
{
    RealHTTPClient client;
    answerTo(client, postTo(server.url()));

    int allErrors = 0;
    for (long count = 0; sendWithout(client, count, false) && !HasFailure(); ++count) {
        EXPECT_LE(errors, 1) << count;
        allErrors += errors;
    }

    EXPECT_GT(allErrors, 10);
}

TEST_F(CurlHTTPClientMemoryTest, EachRequestIsAnsweredWhenMemoryRunsOut)
{
    long count = 0;
    for (; !HasFailure(); ++count) {
        RealHTTPClient client;
        if (!sendWithout(client, count, true))
            break;
    }

    EXPECT_GT(count, 20);
}

} // namespace
} // namespace telvora::detail
