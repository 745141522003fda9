#include <Telvora/Platform/Curl/CurlWorker.h>

#include <Telvora/Platform/Simulated/ManualClock.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gtest/gtest.h>

#include <future>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

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
