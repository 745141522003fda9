#include <tests/Host/HostProcess.h>
#include <tests/Host/LoopbackServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>

namespace telvora::tests {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string registered(const LoopbackServer& server, int limit)
{
    return R"({"op":"register","index":"E2E","maxLimit":)" + std::to_string(limit) + R"(,"url":")"
        + server.url() + "\"}\n";
}

std::size_t countOf(const HostRun& run, const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(run.lines.begin(), run.lines.end(),
        [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

} // namespace

TEST(HostOnLinuxTest, SettleWaitsForTheAnswers)
{
    const LoopbackServer server(LoopbackServer::Behaviour::answers);

    const HostRun run = runHost(registered(server, 10)
        + R"({"op":"appendTracker","event":{"n":{"$n":0}},"for":"E2E","count":100}
{"op":"settle"}
{"op":"ledger","index":"E2E"}
)");

    EXPECT_THAT(run.lines,
        Contains(AllOf(HasSubstr(R"("events":{"accepted":100)"), HasSubstr(R"("delivered":100)"))));
    EXPECT_EQ(server.answered(), 10);
    EXPECT_EQ(run.exitStatus(), 0);
}

TEST(HostOnLinuxTest, SettleFailsAfterItsTimeout)
{
    const LoopbackServer server(LoopbackServer::Behaviour::staysSilent);

    const HostRun run
        = runHost(registered(server, 1) + R"({"op":"appendTracker","event":{},"for":"E2E"}
{"op":"settle","timeout":0.2}
{"op":"settle","timeout":50,"uploads":false}
)");

    EXPECT_THAT(run.lines, Contains(R"({"reply":"settle","error":"Work is still under way"})"));
    EXPECT_EQ(run.lines.back(), R"({"reply":"settle"})");
    EXPECT_EQ(run.exitStatus(), 2);
}

TEST(HostOnLinuxTest, TheEndOfTheScriptEndsTheProcessWhateverIsUnderWay)
{
    const LoopbackServer server(LoopbackServer::Behaviour::staysSilent);

    // A host that waited for the answers would be killed: its limit is no longer than a request's.
    const HostRun run = runHost(registered(server, 1) + R"({"op":"start"}
{"op":"appendTracker","event":{},"for":"E2E","count":1000}
)");

    EXPECT_EQ(run.exitStatus(), 0) << run.diagnostics;
}

TEST(HostOnLinuxTest, AFlushWaitsForTheAnswersButNotLongerThanAsked)
{
    const LoopbackServer server(LoopbackServer::Behaviour::answers);
    const LoopbackServer silent(LoopbackServer::Behaviour::staysSilent);

    const HostRun run = runHost(registered(server, 100)
        + R"({"op":"appendTracker","event":{},"for":"E2E","count":50}
{"op":"flush","deadline":31557600}
{"op":"setUrl","index":"E2E","url":")"
        + silent.url() + R"("}
{"op":"appendTracker","event":{},"for":"E2E","count":3}
{"op":"flush","deadline":0.1}
{"op":"shutdown","deadline":0}
{"op":"ledger","index":"E2E"}
)");

    EXPECT_THAT(run.lines, Contains(R"({"reply":"flush","result":{"atRest":true,"left":0}})"));
    EXPECT_THAT(run.lines, Contains(R"({"reply":"flush","result":{"atRest":false,"left":3}})"));
    EXPECT_THAT(run.lines, Contains(R"({"reply":"shutdown","result":{"atRest":false,"left":3}})"));
    EXPECT_THAT(run.lines.back(), HasSubstr(R"("delivered":50)"));
    EXPECT_EQ(server.answered(), 1);
    EXPECT_EQ(run.exitStatus(), 0) << run.diagnostics;
}

TEST(HostOnLinuxTest, AFlushFromEachClosureEnds)
{
    const LoopbackServer server(LoopbackServer::Behaviour::answers);
    const std::string flush = R"(,"lines":[{"op":"flush","deadline":1000}]}
)";

    const HostRun run = runHost(R"({"op":"configLogger"}
{"op":"setQvxUuid","value":"me"}
{"op":"diagnostics"}
)" + registered(server, 1)
        + R"({"op":"setHooks","index":"E2E","hooks":["start","stop"]}
{"op":"inside","where":"trigger")"
        + flush + R"({"op":"inside","where":"url")" + flush + R"({"op":"inside","where":"uuid")"
        + flush + R"({"op":"inside","where":"diagnostic")" + flush
        + R"({"op":"inside","where":"stop")" + flush + R"({"op":"inside","where":"log")" + flush
        + R"({"op":"start"}
{"op":"appendTracker","event":{},"for":"E2E"}
{"op":"settle"}
{"op":"appendTracker","event":{},"for":"nobody"}
{"op":"sleep","seconds":1.1}
{"op":"applicationDidEnterBackground"}
{"op":"shutdown","deadline":50}
)");

    for (const char* closure : { "trigger", "url", "uuid", "diagnostic", "log" }) {
        EXPECT_THAT(run.lines,
            Contains(HasSubstr(R"({"reply":"flush","inside":")" + std::string(closure) + '"')));
    }
    EXPECT_THAT(run.lines,
        Contains(R"({"reply":"flush","inside":"stop","result":{"atRest":true,"left":0}})"));
    EXPECT_EQ(run.lines.back(), R"({"reply":"shutdown","result":{"atRest":true,"left":0}})");
    EXPECT_EQ(run.exitStatus(), 0) << run.diagnostics;
}

TEST(HostOnLinuxTest, ExitDoesNotWaitForAFlushInAHook)
{
    // The flush cannot end: the thread that would post the batch is in exit().
    const HostRun run = runHost(
        R"({"op":"register","index":"E2E","maxLimit":9,"url":"http://127.0.0.1:1/","hooks":["start"]}
{"op":"inside","where":"start","lines":[{"op":"appendTracker","event":{},"for":"E2E"},{"op":"flush","deadline":1000000}]}
{"op":"inside","where":"url","lines":[{"op":"exit","code":3}]}
{"op":"start"}
{"op":"sleep","seconds":50}
)");

    EXPECT_EQ(run.exitStatus(), 3) << run.diagnostics;
}

TEST(HostOnLinuxTest, ExitOnAnotherThreadEndsTheProcessToo)
{
    const LoopbackServer server(LoopbackServer::Behaviour::staysSilent);

    const HostRun run = runHost(registered(server, 1)
        + R"({"op":"inside","where":"trigger","lines":[{"op":"exit","code":3}]}
{"op":"appendTracker","event":{},"for":"E2E","count":10}
{"op":"sleep","seconds":50}
)");

    EXPECT_EQ(run.exitStatus(), 3) << run.diagnostics;
    EXPECT_THAT(run.lines, Contains(R"({"reply":"exit","inside":"trigger"})"));
}

TEST(HostOnLinuxTest, TheReplyComesBeforeTheEventsOfQueuedWork)
{
    const HostRun run = runHost(R"({"op":"appendTracker","event":{},"for":"nobody","count":2000}
{"op":"settle"}
)");

    ASSERT_EQ(run.lines.size(), 2002U);
    EXPECT_EQ(run.lines.front(), R"({"reply":"appendTracker"})");
    EXPECT_EQ(run.lines[1], R"({"event":"trigger","index":"nobody","data":{},"thread":"other"})");
    EXPECT_EQ(run.lines.back(), R"({"reply":"settle"})");
}

TEST(HostOnLinuxTest, ThreadsInParallelRunEveryLine)
{
    const HostRun run = runHost(
        R"({"op":"parallel","threads":4,"lines":[{"op":"appendTracker","for":"nobody","event":{"thread":{"$thread":0},"n":{"$n":0}},"count":50},{"op":"nonsense","id":{"$thread":0}}]}
{"op":"settle"}
{"op":"ledger"}
)");

    for (const char* thread : { "0", "1", "2", "3" }) {
        EXPECT_EQ(countOf(run, R"("data":{"thread":)" + std::string(thread)), 50U);
        EXPECT_THAT(run.lines,
            Contains(R"({"reply":"nonsense","id":)" + std::string(thread)
                + R"(,"error":"unknown op"})"));
    }
    EXPECT_EQ(countOf(run, R"("reply":"appendTracker")"), 0U);
    EXPECT_THAT(run.lines.back(), HasSubstr(R"("unknownChannel":200)"));
    EXPECT_EQ(run.exitStatus(), 2);
}

TEST(HostOnLinuxTest, NotificationsArePostedOnTheMainThread)
{
    const LoopbackServer server(LoopbackServer::Behaviour::answers);

    const HostRun run = runHost(
        R"({"op":"register","index":"E2E","maxLimit":9,"apiDatas":[{"a":1}],"hooks":["stop"],"url":")"
        + server.url() + R"("}
{"op":"start"}
{"op":"applicationDidEnterBackground"}
{"op":"settle"}
)");

    EXPECT_THAT(run.lines,
        ElementsAre(R"({"reply":"register"})", R"({"reply":"start"})",
            R"({"event":"hook","hook":"stop","index":"E2E","thread":"main"})",
            R"({"event":"url","index":"E2E","url":")" + server.url() + R"(","thread":"main"})",
            R"({"reply":"applicationDidEnterBackground"})", R"({"reply":"settle"})"));
    EXPECT_EQ(server.answered(), 1);
}

TEST(HostOnLinuxTest, OperationsOfTheSimulatedPlatformAreErrors)
{
    const HostRun run = runHost(R"({"op":"advance","seconds":1}
{"op":"device"}
{"op":"lifecycle","sceneName":"s","scene":null,"occasion":3,"state":1}
)");

    EXPECT_THAT(run.lines,
        ElementsAre(R"({"reply":"advance","error":"Only the simulated platform can do this"})",
            R"({"reply":"device","error":"Only the simulated platform can do this"})",
            R"({"reply":"lifecycle"})"));
}

TEST(HostOnLinuxTest, AFatalErrorOnAnotherThreadLosesNoLine)
{
    const HostRun run = runHost(R"({"op":"register","index":"E2E","maxLimit":1,"url":""}
{"op":"appendTracker","event":{},"for":"E2E","count":100000}
{"op":"sleep","seconds":50}
)");

    EXPECT_EQ(run.signal(), SIGABRT);
    EXPECT_THAT(run.lines, Contains(R"({"event":"url","index":"E2E","url":"","thread":"other"})"));
}

} // namespace telvora::tests
