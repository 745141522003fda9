#include <tests/Platform/Curl/LoopbackServer.h>
#include <tests/Platform/Curl/Peers/Nginx.h>
#include <tests/Platform/Curl/Peers/PeerTesting.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <set>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;
using Protocol = Nginx::Protocol;

std::vector<int> numbersTo(int last)
{
    std::vector<int> numbers(static_cast<std::size_t>(last));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

bool isEachOnce(const std::vector<int>& numbers)
{
    return std::set(numbers.begin(), numbers.end()).size() == numbers.size();
}

class NginxTest : public testing::Test {
protected:
    void serve(const Nginx::Settings& settings = {})
    {
        nginx.emplace(settings);
        client.emplace(trusting(nginx->peer()));
        load.emplace(*client);
    }

    std::optional<Nginx> nginx;
    std::optional<RealHTTPClient> client;
    std::optional<Load> load;
};

/// What holds whether requests go plain, over TLS, or over HTTP/2.
class NginxProtocolTest : public NginxTest, public testing::WithParamInterface<Protocol> {
protected:
    std::string url(const std::string& target = "/batch") const
    {
        return nginx->url(GetParam(), target);
    }
};

TEST_P(NginxProtocolTest, EachRequestIsAnsweredOnce)
{
    serve();

    load->send(url(), 500);

    EXPECT_EQ(load->outcome(), allAnswered(500));
    EXPECT_EQ(nginx->answered(500), numbersTo(500));
}

TEST_P(NginxProtocolTest, ConnectionsThatEndAfter50RequestsLoseNone)
{
    serve({ .server = "keepalive_requests 50;" });

    load->send(url(), 4000);

    EXPECT_EQ(load->outcome(), allAnswered(4000));
    EXPECT_EQ(nginx->answered(4000), numbersTo(4000));
}

TEST_P(NginxProtocolTest, ConnectionThatEndsWhileItIsIdleIsReplaced)
{
    serve({ .server = "keepalive_timeout 50ms;" });

    for (int round = 1; round <= 5; ++round) {
        load->send(url(), 1);
        load->waitFor(round);
        waitUntilClosed(nginx->peer().address(), Nginx::port(GetParam()));
    }

    EXPECT_EQ(load->outcome(), allAnswered(5));
}

TEST_P(NginxProtocolTest, RestartUnderLoadHasNoRequestAnsweredTwice)
{
    serve();

    load->send(url(), 5000);
    load->waitFor(500);
    nginx->restart();
    load->outcome();

    EXPECT_TRUE(isEachOnce(nginx->answered(0)));
    load->sendUntilAnswered(url());
}

TEST_P(NginxProtocolTest, SlowBackendFailsNoRequestThatWaitsBehindOthers)
{
    LoopbackServer backend(always(LoopbackReply::answer(200, "{}").after(1500ms)));
    serve({ .locations = "location /slow { proxy_pass " + backend.url() + "; }" });

    // Six at a time would take 50 s.
    load->send(url("/slow"), 200, 500, 45s);

    EXPECT_EQ(load->outcome(), allAnswered(200));
}

TEST_P(NginxProtocolTest, BackendThatDoesNotAnswerIsAnAnswerOfTheGateway)
{
    LoopbackServer backend(always(LoopbackReply::silence()));
    serve({ .server = "proxy_read_timeout 100ms;",
        .locations = "location /slow { proxy_pass " + backend.url() + "; }" });

    load->send(url("/slow"), 10);

    EXPECT_EQ(load->outcome(), (Outcome { { "504", 10 } }));
}

TEST_P(NginxProtocolTest, RedirectIsFollowedWithItsBody)
{
    LoopbackServer backend([](const LoopbackRequest& request) {
        return request.target == "/moved" ? LoopbackReply::redirect(307, "/there")
                                          : LoopbackReply::answer(200, "{}");
    });
    serve({ .locations = "location / { proxy_pass " + backend.url("") + "; }" });

    load->send(url("/moved"), 10, 100'000);

    EXPECT_EQ(load->outcome(), allAnswered(10));
    ASSERT_EQ(backend.received().size(), 20U);
    for (const LoopbackRequest& request : backend.received())
        EXPECT_EQ(request.body.size(), 100'000U);
}

TEST_P(NginxProtocolTest, BatchThatIsTooLongEndsAndTheNextOneIsAnswered)
{
    serve({ .server = "client_max_body_size 10k;" });

    load->send(url(), 1, 20'000);
    load->waitFor(1);
    load->send(url(), 1, 5'000);

    // Over HTTP/2 libcurl may stop at what nginx does not want to read, before it has the answer.
    EXPECT_EQ(load->outcome().at("200"), 1);
    EXPECT_EQ(load->ended(), 2);
}

INSTANTIATE_TEST_SUITE_P(Protocols, NginxProtocolTest,
    testing::Values(Protocol::plain, Protocol::secure, Protocol::http2),
    testing::PrintToStringParamName());

TEST_F(NginxTest, BatchThatIsTooLongForItIsAnsweredOverHTTP1)
{
    serve({ .server = "client_max_body_size 10k;" });

    load->send(nginx->url(Protocol::plain), 1, 20'000);
    load->send(nginx->url(Protocol::secure), 1, 20'000);

    EXPECT_EQ(load->outcome(), (Outcome { { "413", 2 } }));
}

TEST_F(NginxTest, GOAWAYAfterEachThousandRequestsLosesNone)
{
    serve({ .server = "keepalive_requests 1000;" });

    load->send(nginx->url(Protocol::http2), 20'000);

    EXPECT_EQ(load->outcome(), allAnswered(20'000));
    EXPECT_EQ(nginx->answered(20'000), numbersTo(20'000));
}

TEST_F(NginxTest, GOAWAYWithinLongBodiesLosesNone)
{
    LoopbackServer backend(always(LoopbackReply::answer(200, "{}")));
    serve({ .server = "keepalive_requests 20;",
        .locations
        = "location /long { client_max_body_size 10m; proxy_pass " + backend.url() + "; }" });

    load->send(nginx->url(Protocol::http2, "/long"), 300, 100'000);

    EXPECT_EQ(load->outcome(), allAnswered(300));
    EXPECT_EQ(nginx->answered(300), numbersTo(300));
}

// A connection that a leaving process takes for idle it closes at once. A request that is just then
// on its way is an error: the client cannot tell it from one that nginx has looked at.
TEST_F(NginxTest, ReloadsUnderLoadHaveNoRequestOfHTTP2AnsweredTwice)
{
    LoopbackServer backend(always(LoopbackReply::answer(200, "{}")));
    serve({ .locations = "location / { proxy_pass " + backend.url("") + "; }" });

    for (int round = 1; round <= 5; ++round) {
        load->send(nginx->url(Protocol::http2, "/"), 500);
        load->waitFor(round * 500 - 450);
        nginx->reload();
    }

    load->outcome();

    EXPECT_TRUE(isEachOnce(nginx->answered(static_cast<std::size_t>(load->answered()))));
    load->sendUntilAnswered(nginx->url(Protocol::http2, "/"));
}

TEST_F(NginxTest, ServerThatTakesFewRequestsOnAConnectionAnswersAll)
{
    serve({ .server = "http2_max_concurrent_streams 3;" });

    load->send(nginx->url(Protocol::http2), 1000);

    EXPECT_EQ(load->outcome(), allAnswered(1000));
    EXPECT_EQ(nginx->answered(1000), numbersTo(1000));
}

} // namespace
} // namespace telvora::detail
