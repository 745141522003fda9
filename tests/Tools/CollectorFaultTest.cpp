#include <tests/Tools/CollectorProgram.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>

namespace telvora::tests {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::StartsWith;

constexpr std::string_view success = R"({"success":true})";

class CollectorFaultTest : public testing::Test {
protected:
    // Posts a batch of two events and reads whatever comes until the connection ends.
    std::string postAndReadAll(
        std::string_view path = "/e2e", std::chrono::milliseconds longest = Wire::patience)
    {
        Wire wire = program.connect();
        wire.send(batch(path, eventsBody(2)));
        return wire.readAll(end, longest);
    }

    // Events of a path with this outcome.
    std::int64_t events(const char* outcome)
    {
        return program.total().at(outcome).at("events").as_int64();
    }

    CollectorProgram program;
    Wire::End end {};
};

TEST_F(CollectorFaultTest, AStatusWithoutABodyIsARejection)
{
    program.installRules(R"([{"name":"down","path":"/e2e","times":2,"status":500,"body":""}])");

    EXPECT_EQ(program.post("/e2e", eventsBody(2)).status, 500);
    EXPECT_EQ(program.post("/apm", eventsBody(1)).status, 200);
    EXPECT_EQ(program.post("/e2e", eventsBody(2)).body, "");
    EXPECT_EQ(program.post("/e2e", eventsBody(2)).body, success);

    const auto e2e = program.summary().at("paths").at("/e2e");
    EXPECT_EQ(e2e.at("rejected").at("batches"), 2);
    EXPECT_EQ(e2e.at("accepted").at("events"), 2);
    EXPECT_EQ(e2e.at("faults").at("down"), 2);
}

TEST_F(CollectorFaultTest, OtherBodiesHaveTheirOwnOutcomes)
{
    program.installRules(
        R"([{"times":1,"body":"[]"},{"times":1,"body":"<html>"},{"body":"{\"success\":0}"}])");

    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, "[]");
    EXPECT_EQ(program.post("/e2e", eventsBody(2)).body, "<html>");
    program.post("/e2e", eventsBody(4));

    EXPECT_EQ(events("notObject"), 1);
    EXPECT_EQ(events("rejected"), 2);
    EXPECT_EQ(events("accepted"), 4);
}

TEST_F(CollectorFaultTest, ADelayHoldsTheAnswerBack)
{
    program.installRules(R"([{"delay":0.3}])");
    const auto began = std::chrono::steady_clock::now();

    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, success);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 290ms);
    EXPECT_EQ(events("accepted"), 1);
}

TEST_F(CollectorFaultTest, AnAnswerThatComesTooLateIsUndelivered)
{
    program.installRules(R"([{"delay":30}])");
    {
        Wire wire = program.connect();
        wire.send(batch("/e2e", eventsBody(3)));
        wire.read(20ms);
    }
    program.await("settled=1&timeout=200");

    EXPECT_EQ(events("undelivered"), 3);
}

TEST_F(CollectorFaultTest, ClosingBeforeSendsNothing)
{
    program.installRules(R"([{"close":"before"}])");

    EXPECT_EQ(postAndReadAll(), "");
    EXPECT_EQ(end, Wire::End::orderly);
    EXPECT_EQ(events("undelivered"), 2);
}

TEST_F(CollectorFaultTest, AResetReachesTheClient)
{
    program.installRules(R"([{"close":"before","reset":true}])");

    EXPECT_EQ(postAndReadAll(), "");
    EXPECT_EQ(end, Wire::End::reset);
}

TEST_F(CollectorFaultTest, ClosingWithinSendsHalfAnAnswer)
{
    program.installRules(R"([{"close":"within"}])");

    const std::string answer = postAndReadAll();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n{\"succes"));
    EXPECT_EQ(end, Wire::End::orderly);
    EXPECT_EQ(events("undelivered"), 2);
}

TEST_F(CollectorFaultTest, ATruncatedAnswerEndsAfterItsBytes)
{
    program.installRules(R"([{"truncate":10}])");

    EXPECT_EQ(postAndReadAll(), "HTTP/1.1 2");
    EXPECT_EQ(end, Wire::End::orderly);
}

TEST_F(CollectorFaultTest, ADripArrivesWholeInTheEnd)
{
    program.installRules(R"([{"drip":{"bytes":20,"every":0.02}}])");
    const auto began = std::chrono::steady_clock::now();

    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, success);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 80ms);
    EXPECT_EQ(events("accepted"), 1);
}

TEST_F(CollectorFaultTest, ADripThatTheClientAbandonsIsUndelivered)
{
    program.installRules(R"([{"drip":{"bytes":1,"every":0.01}}])");
    {
        Wire wire = program.connect();
        wire.send(batch("/e2e", eventsBody(1)));
        wire.read(30ms);
    }
    program.await("settled=1&timeout=200");

    EXPECT_EQ(events("undelivered"), 1);
}

TEST_F(CollectorFaultTest, ANeverRuleKeepsTheConnectionOpen)
{
    program.installRules(R"([{"never":true}])");

    EXPECT_EQ(postAndReadAll("/e2e", 300ms), "");
    EXPECT_EQ(end, Wire::End::open);
    program.await("settled=1&timeout=200");
    EXPECT_EQ(events("undelivered"), 2);
}

TEST_F(CollectorFaultTest, ANonsenseAnswerIsNotHTTP)
{
    program.installRules(R"([{"nonsense":true}])");

    const std::string answer = postAndReadAll();
    EXPECT_NE(answer, "");
    EXPECT_FALSE(answer.starts_with("HTTP/"));
    EXPECT_EQ(events("undelivered"), 2);
}

TEST_F(CollectorFaultTest, RefusingAfterAcceptResetsConnections)
{
    Wire before = program.connect();
    before.exchange(batch("/e2e", eventsBody(1)));
    program.installRules(R"([{"name":"full","refuse":true,"times":3}])");

    for (int i = 0; i < 2; ++i) {
        Wire wire = program.connect();
        wire.readAll(end);
        EXPECT_EQ(end, Wire::End::reset);
    }
    before.send(batch("/e2e", eventsBody(2)));
    before.readAll(end);
    EXPECT_EQ(end, Wire::End::reset);

    EXPECT_EQ(program.post("/e2e", eventsBody(4)).body, success);
    EXPECT_EQ(program.summary().at("connections").at("refused"), 2);
    EXPECT_EQ(events("accepted"), 5);
    EXPECT_EQ(events("undelivered"), 2);
}

TEST_F(CollectorFaultTest, AClosedPortRefusesToConnectUntilTheRulesChange)
{
    program.installRules(R"([{"refuse":"connect"}])");

    EXPECT_EQ(program.connect().error(), ECONNREFUSED);
    EXPECT_EQ(program.connect().error(), ECONNREFUSED);
    program.installRules("[]");
    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, success);
}

TEST_F(CollectorFaultTest, AClosedPortOpensByItselfWhenTheRuleEnds)
{
    const auto isRefusedFor = [this](double seconds) {
        program.installRules(R"([{"refuse":"connect","seconds":)" + std::to_string(seconds) + "}]");
        return program.connect().error() == ECONNREFUSED;
    };
    // On a busy machine a short rule may be over before the client connects.
    double seconds = 0.3;
    while (!isRefusedFor(seconds)) {
        ASSERT_LT(seconds, 60);
        seconds *= 2;
    }

    // The request never comes: the wait only lets the time pass.
    program.control("GET", "/_telvora/wait?requests=1&timeout=" + std::to_string(seconds + 0.5));

    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, success);
}

TEST_F(CollectorFaultTest, NoRuleAppliesToTheControlPaths)
{
    program.installRules(R"([{"path":"/","never":true}])");

    EXPECT_EQ(program.connect().exchange(get("/_telvora/health")).status, 200);
}

TEST_F(CollectorFaultTest, ARequestResentByTheHTTPClientIsMarked)
{
    program.installRules(R"([{"times":1,"close":"before"}])");
    const std::string text = batch("/e2e", eventsBody(2));
    Wire first = program.connect();
    first.send(text);
    first.readAll(end);

    EXPECT_EQ(program.connect().exchange(text).body, success);

    EXPECT_EQ(program.requests(1).at(0).at("resent"), true);
    EXPECT_EQ(program.total().at("resent"), 1);
    EXPECT_EQ(program.total().at("badVerdicts"), 0);
    EXPECT_EQ(events("accepted"), 2);
}

} // namespace
} // namespace telvora::tests
