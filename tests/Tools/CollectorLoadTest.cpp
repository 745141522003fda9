#include <tests/Tools/CollectorProgram.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace telvora::tests {
namespace {

constexpr std::string_view success = R"({"success":true})";

void raiseDescriptorLimit()
{
    rlimit limit {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

std::vector<Wire> connections(const CollectorProgram& program, std::size_t count)
{
    std::vector<Wire> wires;
    wires.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        wires.push_back(program.connect());
    return wires;
}

TEST(CollectorLoadTest, ServesTwoThousandConnectionsAtOnce)
{
    raiseDescriptorLimit();
    CollectorProgram program;
    std::vector<Wire> wires = connections(program, 2000);

    for (int round = 0; round < 2; ++round) {
        for (Wire& wire : wires)
            ASSERT_TRUE(wire.send(batch("/e2e", eventsBody(3))));
        for (Wire& wire : wires)
            ASSERT_EQ(wire.read().body, success);
    }

    EXPECT_EQ(program.total().at("accepted").at("events"), 12000);
    EXPECT_EQ(program.summary().at("connections").at("refused"), 0);
    EXPECT_EQ(program.end(SIGTERM), 0);
}

TEST(CollectorLoadTest, HoldsTwoThousandUnansweredRequests)
{
    raiseDescriptorLimit();
    CollectorProgram program;
    program.installRules(R"([{"never":true}])");
    {
        std::vector<Wire> wires = connections(program, 2000);
        for (Wire& wire : wires)
            wire.send(batch("/e2e", eventsBody(1)));
        program.await("requests=2000&timeout=200");
        EXPECT_EQ(program.total().at("pending").at("events"), 2000);
    }
    program.await("settled=2000&timeout=200");

    EXPECT_EQ(program.total().at("undelivered").at("events"), 2000);
}

TEST(CollectorLoadTest, MemoryStaysBoundedAndTheCountsExact)
{
    CollectorProgram program({ "--max-memory", "8" });
    const std::string body = R"({"data":[{"s":")" + std::string(300'000, 'x') + "\"}]}";
    Wire wire = program.connect();
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(wire.exchange(batch("/e2e", body)).body, success);
    const std::size_t before = program.residentBytes();

    for (int i = 0; i < 150; ++i)
        ASSERT_EQ(wire.exchange(batch("/e2e", body)).body, success);

    const auto summary = program.summary();
    EXPECT_EQ(summary.at("total").at("accepted").at("batches"), 200);
    EXPECT_EQ(summary.at("total").at("bytes"), 200 * body.size());
    EXPECT_LE(summary.at("keptBytes").as_int64(), 8 << 20);
    EXPECT_EQ(summary.at("kept").as_int64() + summary.at("forgotten").as_int64(), 200);
    EXPECT_EQ(program.requests(199).at(0).at("number"), 200);
    // A sanitizer keeps freed memory for a while.
    const std::size_t slack = std::size_t { TELVORA_SANITIZED ? 400 : 16 } << 20U;
    EXPECT_LT(program.residentBytes(), before + slack);
}

// Waits until the program that listens on the port has read all that was sent to it.
void waitUntilAllIsRead(int port)
{
    const auto portOf = [](const std::string& address) {
        return std::stoi(address.substr(address.find(':') + 1), nullptr, 16);
    };
    std::size_t waiting = 1;
    while (waiting > 0) {
        waiting = 0;
        std::ifstream table("/proc/net/tcp");
        std::string line;
        std::getline(table, line);
        while (std::getline(table, line)) {
            std::string number;
            std::string local;
            std::string remote;
            std::string state;
            std::string queues;
            std::istringstream(line) >> number >> local >> remote >> state >> queues;
            // What is to be sent, and what is to be read.
            if (portOf(remote) == port)
                waiting += std::stoul(queues, nullptr, 16);
            if (portOf(local) == port && state == "01")
                waiting += std::stoul(queues.substr(queues.find(':') + 1), nullptr, 16);
        }
    }
}

TEST(CollectorLoadTest, ArrivingBodiesShareOneLimit)
{
    CollectorProgram program({ "--max-memory", "4", "--max-body", "4" });
    const std::string part(1'500'000, 'x');
    const std::string begun = "POST /x HTTP/1.1\r\nContent-Length: 2000000\r\n\r\n" + part;
    Wire first = program.connect();
    Wire second = program.connect();
    Wire third = program.connect();
    first.send(begun);
    second.send(begun);
    third.send(begun);
    waitUntilAllIsRead(program.port());

    // One of the three bodies exceeds the limit; once it is dropped, the others fit.
    std::vector<int> statuses;
    for (Wire* wire : { &third, &second, &first }) {
        wire->send(std::string(500'000, 'x'));
        statuses.push_back(wire->read().status);
    }

    EXPECT_THAT(statuses, testing::UnorderedElementsAre(503, 200, 200));
}

} // namespace
} // namespace telvora::tests
