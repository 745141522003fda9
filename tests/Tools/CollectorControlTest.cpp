#include <tests/Tools/CollectorProgram.h>

#include <boost/json/parse.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>

namespace telvora::tests {
namespace {

using testing::HasSubstr;

TEST(CollectorControlTest, ServesItsOwnPathsOnBothPorts)
{
    const CollectorProgram program;

    EXPECT_EQ(program.control("GET", "/_telvora/health").at("healthy"), true);
    EXPECT_EQ(program.connect().exchange(get("/_telvora/health")).status, 200);
    EXPECT_EQ(Wire(program.controlPort()).exchange(batch("/e2e", eventsBody(1))).status, 404);
    EXPECT_EQ(program.total().at("requests"), 0);
}

TEST(CollectorControlTest, RefusesWrongRequests)
{
    const CollectorProgram program;
    Wire wire(program.controlPort());

    EXPECT_EQ(wire.exchange(get("/_telvora/nothing")).status, 404);
    EXPECT_EQ(wire.exchange(get("/_telvora/reset")).status, 405);
    EXPECT_EQ(wire.exchange(request("POST", "/_telvora/summary", "")).status, 405);
    EXPECT_EQ(wire.exchange(request("POST", "/_telvora/rules", "[]")).status, 405);
    EXPECT_EQ(wire.exchange(get("/_telvora/requests?since=x")).status, 400);
    EXPECT_EQ(wire.exchange(get("/_telvora/requests?since=-1")).status, 400);
    EXPECT_EQ(wire.exchange(get("/_telvora/wait?timeout=1e9")).status, 400);
    const auto reply = wire.exchange(request("PUT", "/_telvora/rules", R"([{"delay":"x"}])"));
    EXPECT_EQ(reply.status, 400);
    EXPECT_THAT(reply.body, HasSubstr("rule 0: "));
}

TEST(CollectorControlTest, ListsRequestsAfterANumber)
{
    const CollectorProgram program;
    for (int i = 1; i <= 3; ++i)
        program.post("/e2e", eventsBody(i));

    const auto requests = program.requests(2);

    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests.at(0).at("number"), 3);
    EXPECT_EQ(requests.at(0).at("body").as_string(), eventsBody(3));
    EXPECT_EQ(requests.at(0).at("outcome"), "accepted");
    EXPECT_TRUE(requests.at(0).at("rule").is_null());
}

TEST(CollectorControlTest, AResetRestoresTheFirstRules)
{
    const std::string file = temporaryFile("rules");
    ASSERT_TRUE(std::ofstream(file) << R"([{"name":"from file","body":"{}"}])");
    const CollectorProgram program({ "--rules", file });
    program.installRules("[]");
    program.post("/e2e", eventsBody(1));

    program.control("POST", "/_telvora/reset");

    EXPECT_EQ(program.total().at("requests"), 0);
    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, "{}");
    EXPECT_EQ(program.requests().at(0).at("number"), 1);
    EXPECT_EQ(program.requests().at(0).at("rule"), "from file");
}

TEST(CollectorControlTest, RecordsEveryRequestAsALine)
{
    const std::string file = temporaryFile("record");
    CollectorProgram program({ "--record", file });
    program.installRules(R"([{"path":"/never","never":true}])");
    Wire never = program.connect();
    never.send(batch("/never", eventsBody(2)));
    program.await("requests=1");
    program.post("/e2e", eventsBody(1));
    program.end(SIGTERM);

    std::istringstream lines(contentOf(file));
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(boost::json::parse(line).at("path"), "/e2e");
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(boost::json::parse(line).at("path"), "/never");
    EXPECT_EQ(boost::json::parse(line).at("outcome"), "undelivered");
    EXPECT_FALSE(std::getline(lines, line));
}

TEST(CollectorControlTest, AWaitEndsWhenTheCountIsReached)
{
    const CollectorProgram program;
    Wire waiting(program.controlPort());
    waiting.send(get("/_telvora/wait?acceptedEvents=5&timeout=200"));
    EXPECT_EQ(waiting.read(std::chrono::milliseconds(50)).status, 0);

    program.post("/e2e", eventsBody(4));
    EXPECT_EQ(waiting.read(std::chrono::milliseconds(50)).status, 0);
    program.post("/e2e", eventsBody(1));

    const auto summary = boost::json::parse(waiting.read().body);
    EXPECT_EQ(summary.at("reached"), true);
    EXPECT_EQ(summary.at("total").at("events"), 5);
}

TEST(CollectorControlTest, AWaitEndsUnreachedWhenItsTimeIsOver)
{
    const CollectorProgram program;
    Wire waiting(program.controlPort());

    const auto reply = waiting.exchange(get("/_telvora/wait?requests=1&timeout=0.1"));

    EXPECT_EQ(boost::json::parse(reply.body).at("reached"), false);
    EXPECT_EQ(waiting.exchange(get("/_telvora/health")).status, 200);
}

TEST(CollectorControlTest, SurvivesWaitersThatDisconnect)
{
    const CollectorProgram program;
    {
        Wire waiting(program.controlPort());
        waiting.send(get("/_telvora/wait?requests=1"));
        waiting.read(std::chrono::milliseconds(20));
    }

    EXPECT_EQ(program.post("/e2e", eventsBody(1)).status, 200);
    EXPECT_EQ(program.total().at("requests"), 1);
}

} // namespace
} // namespace telvora::tests
