#include <tests/Tools/CollectorProgram.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace telvora::tests {
namespace {

constexpr std::string_view success = R"({"success":true})";

TEST(CollectorSinkTest, CountsRequestsAndBytesAndChecksNothing)
{
    CollectorProgram program({ "--sink" });
    Wire wire = program.connect();

    EXPECT_EQ(wire.exchange(batch("/e2e", eventsBody(3))).body, success);
    EXPECT_EQ(wire.exchange(batch("/e2e", "junk")).body, success);

    const auto total = program.total();
    EXPECT_EQ(total.at("requests"), 2);
    EXPECT_EQ(total.at("bytes"), eventsBody(3).size() + 4);
    EXPECT_EQ(program.end(SIGTERM), 0);
}

TEST(CollectorSinkTest, TakesLongAndPipelinedBodies)
{
    const CollectorProgram program({ "--sink" });
    Wire wire = program.connect();
    const std::string body(3'000'000, 'x');

    std::string text;
    for (int i = 0; i < 40; ++i)
        text += batch("/e2e", "{}");
    wire.send(text + batch("/e2e", body) + batch("/e2e", body));

    for (int i = 0; i < 42; ++i)
        ASSERT_EQ(wire.read().body, success);
    EXPECT_EQ(program.total().at("bytes"), 2 * body.size() + 80);
}

TEST(CollectorSinkTest, TakesARequestThatComesByteByByte)
{
    const CollectorProgram program({ "--sink" });
    Wire wire = program.connect();

    const std::string text = batch("/e2e", eventsBody(2));
    for (const char c : text + text)
        wire.send({ &c, 1 });

    EXPECT_EQ(wire.read().body, success);
    EXPECT_EQ(wire.read().body, success);
    EXPECT_EQ(program.total().at("requests"), 2);
}

TEST(CollectorSinkTest, ServesOrdinaryHTTPOnTheSameConnection)
{
    const CollectorProgram program({ "--sink" });
    Wire wire = program.connect();

    EXPECT_EQ(wire.exchange(batch("/e2e", eventsBody(1, "data"))).body, success);
    EXPECT_EQ(wire.exchange(get("/_telvora/health")).status, 200);
    EXPECT_EQ(wire.exchange("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
                            "d\r\n{\"data\":[{}]}\r\n0\r\n\r\n")
                  .body,
        success);
    EXPECT_EQ(program.connect().exchange("nonsense\r\n\r\n").status, 400);
    EXPECT_EQ(program.total().at("requests"), 2);
}

TEST(CollectorSinkTest, AResetCountsFromZero)
{
    const CollectorProgram program({ "--sink" });
    program.post("/e2e", "{}");

    program.control("POST", "/_telvora/reset");

    EXPECT_EQ(program.total().at("requests"), 0);
}

TEST(CollectorSinkTest, DropsStalledConnections)
{
    const CollectorProgram program({ "--sink", "--idle", "1" });
    Wire wire = program.connect();
    wire.send("POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\n{");

    Wire::End end {};
    wire.readAll(end);
    EXPECT_NE(end, Wire::End::open);
}

} // namespace
} // namespace telvora::tests
