#include <Telvora/Platform/Curl/CurlWorker.h>

#include <Telvora/Platform/Simulated/ManualClock.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <utility>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

std::atomic<bool> s_isThreadRefused { false };

bool startThreadUnlessRefused(const char* name, Work body)
{
    return !s_isThreadRefused && startDetachedThread(name, std::move(body));
}

/// The system gives no thread until the case says so.
class CurlWorkerThreadTest : public testing::Test {
protected:
    CurlWorkerThreadTest() { s_isThreadRefused = true; }

    LoopbackServer server { always(LoopbackReply::answer(200, "{}")) };
    // The worker completes every request before it is destroyed.
    HTTPAnswer answer;
    std::promise<HTTPAnswer> laterAnswer;
    CurlWorker worker { startThreadUnlessRefused, *s_machineClock, {} };
};

TEST_F(CurlWorkerThreadTest, RequestWithoutAThreadEndsWithAnErrorBeforeSendReturns)
{
    worker.send(postTo(server.url()), [&](HTTPAnswer its) { answer = std::move(its); });

    EXPECT_EQ(answer.error, "The system refused a thread");
    EXPECT_EQ(answer.data, std::nullopt);
    EXPECT_EQ(worker.inFlight(), 0U);
}

TEST_F(CurlWorkerThreadTest, RequestsAreAnsweredOnceTheSystemGivesAThread)
{
    worker.send(postTo(server.url()), [](HTTPAnswer) {});

    s_isThreadRefused = false;
    worker.send(
        postTo(server.url()), [&](HTTPAnswer its) { laterAnswer.set_value(std::move(its)); });

    EXPECT_EQ(laterAnswer.get_future().get().data, "{}");
    EXPECT_EQ(server.received().size(), 1U);
}

TEST(CurlWorkerTest, TimeThatACompletionTakesIsChargedToNoRequest)
{
    std::promise<void> mayAnswer;
    LoopbackServer server([&](const LoopbackRequest& request) {
        if (request.target == "/held")
            mayAnswer.get_future().wait();
        return LoopbackReply::answer(200, "{}");
    });
    static ManualClock clock;
    CurlWorker worker(startDetachedThread, clock, {});
    std::promise<HTTPAnswer> held;
    worker.send(postTo(server.url("/held"), "{}", 60s),
        [&](HTTPAnswer answer) { held.set_value(std::move(answer)); });
    server.waitForRequests(1);

    // A completion that blocks for an hour.
    std::promise<void> hasReturned;
    worker.send(postTo(server.url("/")), [&](HTTPAnswer) {
        clock.advance(1h);
        worker.send(postTo(server.url("/")), [&](HTTPAnswer) { hasReturned.set_value(); });
    });
    hasReturned.get_future().wait();
    mayAnswer.set_value();

    EXPECT_EQ(held.get_future().get().data, "{}");
}

} // namespace
} // namespace telvora::detail
