#include <tests/Platform/Curl/Peers/PeerTesting.h>

#include <gtest/gtest.h>

namespace telvora::detail {
namespace {

constexpr int port = 8443;

/// nghttpd, which speaks HTTP/2 alone and answers a POST with its body.
class NghttpdTest : public testing::Test {
protected:
    void serve(std::vector<std::string> options = {})
    {
        std::vector<std::string> arguments { "--address", peer.address(), "--echo-upload" };
        arguments.insert(arguments.end(), options.begin(), options.end());
        for (const std::string& last :
            { std::to_string(port), peer.file("server.key"), peer.file("server.pem") })
            arguments.push_back(last);
        peer.start(arguments, { port });
        client.emplace(trusting(peer));
        load.emplace(*client);
    }

    std::string url() const { return "https://" + peer.address() + ":" + std::to_string(port); }

    Peer peer { "nghttpd" };
    std::optional<RealHTTPClient> client;
    std::optional<Load> load;
};

TEST_F(NghttpdTest, EachRequestIsAnswered)
{
    serve();

    load->send(url(), 5000);

    EXPECT_EQ(load->outcome(), allAnswered(5000));
}

TEST_F(NghttpdTest, LongBodyArrivesAndComesBackWhole)
{
    serve();
    const std::string body(2'000'000, 'b');

    const HTTPAnswer answer = answerTo(*client, postTo(url(), body, std::chrono::seconds(60)));

    EXPECT_EQ(answer.error, std::nullopt);
    EXPECT_TRUE(answer.data == body);
}

TEST_F(NghttpdTest, ServerThatTakesFewRequestsOnAConnectionAnswersAll)
{
    serve({ "--max-concurrent-streams=3" });

    load->send(url(), 1000);

    EXPECT_EQ(load->outcome(), allAnswered(1000));
}

TEST_F(NghttpdTest, RestartUnderLoadLeavesNoRequestWithoutAnEnd)
{
    serve();

    load->send(url(), 5000);
    load->waitFor(500);
    peer.restart();
    load->outcome();

    load->sendUntilAnswered(url());
}

} // namespace
} // namespace telvora::detail
