#include <tests/Platform/Curl/LoopbackServer.h>
#include <tests/Platform/Curl/Peers/PeerTesting.h>

#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <sstream>

namespace telvora::detail {
namespace {

using namespace std::chrono_literals;

/// A frontend of HAProxy: how it listens, and whether it speaks TLS.
struct Frontend {
    const char* name;
    const char* scheme;
    const char* listen;

    friend std::ostream& operator<<(std::ostream& output, const Frontend& frontend)
    {
        return output << frontend.name;
    }
};

constexpr int port = 8443;

/// HAProxy in front of a collector, which answers "/batch" with "{}" itself.
class HAProxyTest : public testing::TestWithParam<Frontend> {
protected:
    void serve(const std::string& backend = {}, const std::string& keepAlive = "30s")
    {
        std::ostringstream pem;
        pem << std::ifstream(peer.file("server.pem")).rdbuf()
            << std::ifstream(peer.file("server.key")).rdbuf();
        peer.write("both.pem", pem.str());
        std::ostringstream text;
        text << "global\n  nbthread 2\n  crt-base " << peer.folder() << "\n"
             << "defaults\n  mode http\n  timeout connect 5s\n  timeout client 30s\n"
             << "  timeout server 30s\n  timeout http-keep-alive " << keepAlive << "\n"
             << "  timeout http-request 30s\n"
             << "frontend collector\n"
             << "  bind " << peer.address() << ":" << port << " " << GetParam().listen << "\n"
             << "  http-request wait-for-body time 30s\n"
             << "  http-request return status 200 string '{}' content-type text/plain"
             << " if { path /batch }\n"
             << "  http-request redirect code 307 location /batch if { path /moved }\n"
             << "  default_backend others\n"
             << "backend others\n"
             << (backend.empty() ? "" : "  server one " + backend) << "\n";
        peer.write("haproxy.cfg", text.str());
        peer.start({ "-W", "-f", peer.file("haproxy.cfg") }, { port });
        client.emplace(trusting(peer));
        load.emplace(*client);
    }

    std::string url(const std::string& target = "/batch") const
    {
        return GetParam().scheme + peer.address() + ":" + std::to_string(port) + target;
    }

    Peer peer { "haproxy" };
    std::optional<RealHTTPClient> client;
    std::optional<Load> load;
};

TEST_P(HAProxyTest, EachRequestIsAnswered)
{
    serve();

    load->send(url(), 2000);

    EXPECT_EQ(load->outcome(), allAnswered(2000));
}

TEST_P(HAProxyTest, ConnectionThatEndsWhileItIsIdleIsReplaced)
{
    serve({}, "50ms");

    for (int round = 1; round <= 5; ++round) {
        load->send(url(), 1);
        load->waitFor(round);
        waitUntilClosed(peer.address(), port);
    }

    EXPECT_EQ(load->outcome(), allAnswered(5));
}

TEST_P(HAProxyTest, SlowBackendFailsNoRequestThatWaitsBehindOthers)
{
    LoopbackServer backend(always(LoopbackReply::answer(200, "{}").after(1500ms)));
    serve("127.0.0.1:" + backend.port());

    // Six at a time would take 50 s.
    load->send(url("/slow"), 200, 500, 45s);

    EXPECT_EQ(load->outcome(), allAnswered(200));
}

TEST_P(HAProxyTest, BackendThatIsGoneIsAnAnswerOfTheProxy)
{
    serve();

    load->send(url("/gone"), 20);

    EXPECT_EQ(load->outcome(), (Outcome { { "503", 20 } }));
}

TEST_P(HAProxyTest, RedirectIsFollowed)
{
    serve();

    load->send(url("/moved"), 20, 20'000);

    EXPECT_EQ(load->outcome(), allAnswered(20));
}

TEST_P(HAProxyTest, ReloadsUnderLoadLeaveNoRequestWithoutAnEnd)
{
    serve();

    for (int round = 1; round <= 3; ++round) {
        load->send(url(), 1000);
        load->waitFor(round * 1000 - 900);
        peer.signal(SIGUSR2);
    }
    load->outcome();

    load->sendUntilAnswered(url());
}

INSTANTIATE_TEST_SUITE_P(Frontends, HAProxyTest,
    testing::Values(Frontend { "plain", "http://", "" },
        Frontend { "secure", "https://", "ssl crt both.pem" },
        Frontend { "http2", "https://", "ssl crt both.pem alpn h2,http/1.1" }),
    testing::PrintToStringParamName());

} // namespace
} // namespace telvora::detail
