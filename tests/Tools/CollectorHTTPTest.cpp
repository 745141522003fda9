#include <tests/Tools/CollectorProgram.h>

#include <boost/json/serialize.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <random>

namespace telvora::tests {
namespace {

using testing::HasSubstr;

constexpr std::string_view success = R"({"success":true})";

TEST(CollectorHTTPTest, AnswersAPostWithSuccess)
{
    const CollectorProgram program;

    const Wire::Reply reply = program.post("/e2e", eventsBody(3));

    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, success);
    EXPECT_EQ(program.total().at("accepted").at("events"), 3);
    EXPECT_EQ(program.total().at("badVerdicts"), 0);
}

TEST(CollectorHTTPTest, AnswersABadBatchWithSuccessAndSaysWhatIsWrong)
{
    const CollectorProgram program;

    const auto text = batchWith("/e2e", "[]", "versioncode", std::nullopt);
    EXPECT_EQ(program.connect().exchange(text).body, success);

    EXPECT_EQ(boost::json::serialize(program.requests().at(0).at("verdict")),
        R"({"ok":false,"problems":["header versioncode is missing","body is no JSON object"],)"
        R"("events":0,"key":""})");
}

TEST(CollectorHTTPTest, ListsHeadersInOrderAndSpellingAsSent)
{
    const CollectorProgram program;

    program.connect().exchange("POST /x?y=1 HTTP/1.1\r\nB: 1\r\na:2  \r\nb: 3\r\nX-EMPTY:\r\n"
                               "content-length: 2\r\n\r\nhi");

    const auto request = program.requests().at(0).as_object();
    EXPECT_EQ(boost::json::serialize(request.at("headers")),
        R"([["B","1"],["a","2"],["b","3"],["X-EMPTY",""],["content-length","2"]])");
    EXPECT_EQ(request.at("path"), "/x?y=1");
    EXPECT_EQ(request.at("body"), "hi");
}

TEST(CollectorHTTPTest, KeepsAConnectionAlive)
{
    const CollectorProgram program;
    Wire wire = program.connect();

    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(wire.exchange(batch("/e2e", eventsBody(1))).body, success);

    const auto requests = program.requests();
    EXPECT_EQ(requests.at(0).at("connection"), requests.at(2).at("connection"));
}

TEST(CollectorHTTPTest, ClosesWhereTheRequestAsksForIt)
{
    const CollectorProgram program;
    Wire wire = program.connect();

    wire.send("POST / HTTP/1.1\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");

    Wire::End end {};
    EXPECT_THAT(wire.readAll(end), HasSubstr("Connection: close"));
    EXPECT_EQ(end, Wire::End::orderly);
}

TEST(CollectorHTTPTest, AnswersPipelinedRequestsInTheirOrder)
{
    const CollectorProgram program;
    program.installRules(
        R"([{"path":"/slow","delay":0.05,"body":"slow"},{"path":"/b","body":"b"}])");
    Wire wire = program.connect();

    std::string text;
    for (int i = 0; i < 50; ++i)
        text += batch("/slow", "{}") + batch("/b", eventsBody(200)) + batch("/a", "{}");
    wire.send(text);

    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(wire.read().body, "slow");
        ASSERT_EQ(wire.read().body, "b");
        ASSERT_EQ(wire.read().body, success);
    }
}

TEST(CollectorHTTPTest, TakesARequestThatComesByteByByte)
{
    const CollectorProgram program;
    Wire wire = program.connect();

    const std::string text = batch("/e2e", eventsBody(2));
    for (const char c : text + text)
        wire.send({ &c, 1 });

    EXPECT_EQ(wire.read().body, success);
    EXPECT_EQ(wire.read().body, success);
    EXPECT_EQ(program.total().at("events"), 4);
}

TEST(CollectorHTTPTest, TakesChunkedBodies)
{
    const CollectorProgram program;
    Wire wire = program.connect();

    const auto reply
        = wire.exchange("POST /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
                        "9\r\n{\"data\":[\r\n2;x=y\r\n{}\r\n2\r\n]}\r\n0\r\nTrailer: t\r\n\r\n");

    EXPECT_EQ(reply.body, success);
    EXPECT_EQ(program.requests().at(0).at("body"), R"({"data":[{}]})");
    EXPECT_EQ(program.total().at("events"), 1);
}

TEST(CollectorHTTPTest, SendsContinueToAClientThatExpectsIt)
{
    const CollectorProgram program;
    Wire wire = program.connect();

    wire.send("POST /e HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(wire.read().status, 100);
    EXPECT_EQ(wire.exchange("{}").status, 200);
}

TEST(CollectorHTTPTest, TakesALongBody)
{
    const CollectorProgram program;
    const std::string body = eventsBody(1'500'000);

    EXPECT_EQ(program.post("/long", body).body, success);
    EXPECT_EQ(program.total().at("bytes"), body.size());
    EXPECT_EQ(program.total().at("badVerdicts"), 0);
}

TEST(CollectorHTTPTest, RefusesABodyThatIsTooLong)
{
    const CollectorProgram program({ "--max-body", "1" });

    const std::string head = "POST /x HTTP/1.1\r\nContent-Length: ";
    EXPECT_EQ(program.connect().exchange(head + "2000000\r\n\r\n").status, 413);
    EXPECT_EQ(program.connect().exchange(head + "99999999999999999999999\r\n\r\n").status, 400);
    EXPECT_EQ(program.summary().at("malformed"), 2);
}

TEST(CollectorHTTPTest, RefusesAHeadThatIsTooLong)
{
    const CollectorProgram program;

    const std::string text
        = "POST /x HTTP/1.1\r\nX: " + std::string(100'000, 'x') + "\r\nContent-Length: 0\r\n\r\n";
    EXPECT_EQ(program.connect().exchange(text).status, 431);
}

TEST(CollectorHTTPTest, RefusesRequestsThatAreNotHTTP)
{
    const CollectorProgram program;

    for (const char* text : { "\r\r\r\r", "hello\r\n\r\n", "POST / HTTP/9.9\r\n\r\n",
             "POST /\r\n\r\n", "POST / HTTP/1.1\r\nno colon\r\n\r\n",
             "POST / HTTP/1.1\r\n : x\r\n\r\n", "POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
             "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n",
             "POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n",
             "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" }) {
        Wire wire = program.connect();
        const auto reply = wire.exchange(text);
        EXPECT_EQ(reply.status, 400) << text;
        Wire::End end {};
        wire.readAll(end);
        EXPECT_EQ(end, Wire::End::orderly) << text;
    }
    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, success);
}

TEST(CollectorHTTPTest, SurvivesRandomBytes)
{
    CollectorProgram program;
    std::mt19937 random(11);
    const std::string good = batch("/e2e", eventsBody(2));

    for (int i = 0; i < 400; ++i) {
        std::string text = good + good;
        for (int change = 0; change < 4; ++change)
            text[random() % text.size()] = static_cast<char>(random() % 256);
        Wire wire = program.connect();
        wire.send(text);
        wire.closeSending();
        Wire::End end {};
        wire.readAll(end);
        ASSERT_NE(end, Wire::End::open);
    }
    EXPECT_EQ(program.post("/e2e", eventsBody(1)).body, success);
    EXPECT_EQ(program.end(SIGTERM), 0);
}

TEST(CollectorHTTPTest, ServesNothingButPost)
{
    const CollectorProgram program;

    EXPECT_EQ(program.connect().exchange(get("/e2e")).status, 405);
    EXPECT_EQ(program.total().at("accepted").at("batches"), 0);
    EXPECT_EQ(
        program.requests().at(0).at("verdict").at("problems").at(0), "method is GET, not POST");
}

TEST(CollectorHTTPTest, CountsRequestsThatWereCutShort)
{
    const CollectorProgram program;
    {
        Wire wire = program.connect();
        wire.send("POST /e2e HTTP/1.1\r\nContent-Length: 10\r\n\r\n{");
        Wire idle = program.connect();
        idle.exchange(batch("/e2e", eventsBody(1)));
    }
    program.post("/e2e", eventsBody(1));

    EXPECT_EQ(program.summary().at("incomplete"), 1);
    EXPECT_EQ(program.total().at("requests"), 2);
}

TEST(CollectorHTTPTest, DropsAHeadThatTakesTooLong)
{
    const CollectorProgram program({ "--slow", "1" });
    Wire wire = program.connect();

    // Progress within the head must not extend the deadline, or slow bytes could hold a connection
    // open for ever.
    wire.send("POST / HTTP/1.1\r\n");
    Wire::End end {};
    const auto began = std::chrono::steady_clock::now();
    while (end == Wire::End::open && std::chrono::steady_clock::now() < began + Wire::patience) {
        wire.send("A: b\r\n");
        wire.readAll(end, std::chrono::milliseconds(100));
    }

    EXPECT_NE(end, Wire::End::open);
    EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(900));
}

TEST(CollectorHTTPTest, DropsStalledBodiesAndIdleConnections)
{
    const CollectorProgram program({ "--slow", "1", "--idle", "1" });
    Wire silent = program.connect();
    Wire stuck = program.connect();
    stuck.send("POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\n{");

    Wire::End end {};
    silent.readAll(end);
    EXPECT_NE(end, Wire::End::open);
    stuck.readAll(end);
    EXPECT_NE(end, Wire::End::open);
}

} // namespace
} // namespace telvora::tests
