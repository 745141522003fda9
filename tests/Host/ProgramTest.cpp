#include <tests/Host/HostProcess.h>

#include <Telvora/Base/Version.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace telvora::tests {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// `levels` nested containers.
std::string nested(std::size_t levels)
{
    return std::string(levels, '[') + std::string(levels, ']');
}

} // namespace

TEST(HostProgramTest, PrintsItsNameAndTheVersionOfTheLibrary)
{
    const HostRun run = runHost("", { "--version" });

    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_THAT(run.lines, ElementsAre("telvora-host " TELVORA_VERSION_TEXT));
}

TEST(HostProgramTest, ALineMayBe512LevelsDeepAndNoDeeper)
{
    const HostRun run = runSimulated("{\"op\":\"mode\",\"id\":" + nested(511)
        + "}\n{\"op\":\"mode\",\"id\":" + nested(512) + "}\n");

    EXPECT_THAT(run.lines,
        ElementsAre("{\"reply\":\"mode\",\"id\":" + nested(511) + ",\"result\":\"release\"}",
            HasSubstr("\"reply\":null")));
}

TEST(HostProgramTest, TheDeepestEventThatALineCanHoldIsPrintedAsItWasSent)
{
    const std::string event = "{\"deep\":" + nested(510) + "}";

    const HostRun run
        = runSimulated(R"({"op":"register","index":"E2E","maxLimit":1,"url":"http://c/"})"
                       "\n{\"op\":\"appendTracker\",\"for\":\"E2E\",\"event\":"
            + event + "}\n");

    ASSERT_EQ(run.lines.size(), 5U);
    EXPECT_THAT(run.lines[3], HasSubstr("\"body\":{\"data-list\":[" + event + "]}"));
    EXPECT_THAT(run.lines[4], HasSubstr("\"data\":" + event));
}

TEST(HostProgramTest, ALineMayBe64MiBLongAndNoLonger)
{
    const std::string begin = R"({"op":"toJSONString","prettyPrint":false,"dict":{"t":")";
    const std::string end = "\"}}";
    const std::size_t limit = 64 * 1024 * 1024;
    const std::string longest = begin + std::string(limit - begin.size() - end.size(), 'x') + end;

    const HostRun run = runSimulated(longest + "\n " + longest + "\n{\"op\":\"mode\"}\n");

    ASSERT_EQ(run.lines.size(), 3U);
    EXPECT_THAT(run.lines[0].substr(0, 60), HasSubstr("\"result\":"));
    EXPECT_EQ(run.lines[1], R"({"reply":null,"error":"A line is at most 64 MiB long"})");
    EXPECT_EQ(run.lines[2], R"({"reply":"mode","result":"release"})");
    EXPECT_EQ(run.exitStatus(), 2);
}

TEST(HostProgramTest, ExitRepliesAndEndsAtOnce)
{
    const HostRun run = runSimulated(R"({"op":"nonsense"}
{"op":"appendTracker","event":{},"for":"nobody"}
{"op":"hold","on":true}
{"op":"appendTracker","event":{},"for":"nobody"}
{"op":"exit","code":5,"id":1}
{"op":"mode"}
)");

    ASSERT_EQ(run.lines.size(), 6U);
    EXPECT_EQ(run.lines.back(), R"({"reply":"exit","id":1})");
    EXPECT_EQ(run.exitStatus(), 5);
}

TEST(HostProgramTest, ExitInsideAClosureEndsTheProcessThere)
{
    const HostRun run = runSimulated(R"({"op":"inside","where":"trigger","lines":[{"op":"exit"}]}
{"op":"appendTracker","event":{},"for":"nobody","count":2}
)");

    EXPECT_THAT(run.lines,
        ElementsAre(R"({"reply":"inside"})", R"({"reply":"appendTracker"})",
            R"({"event":"trigger","index":"nobody","data":{},"thread":"other"})",
            R"({"reply":"exit","inside":"trigger"})"));
    EXPECT_EQ(run.exitStatus(), 0);
}

TEST(HostProgramTest, AFatalErrorOfTheLibraryEndsTheProcess)
{
    const HostRun run = runSimulated(R"({"op":"register","index":"E2E","maxLimit":1,"url":"u"}
{"op":"register","index":"E2E","maxLimit":1,"url":"u"}
{"op":"mode"}
)");

    EXPECT_THAT(run.lines, ElementsAre(R"({"reply":"register"})"));
    EXPECT_EQ(run.signal(), SIGABRT);
    EXPECT_THAT(run.diagnostics,
        HasSubstr("TrackerManager: There are 2 same configs - index `E2E`: file TrackerManager"));
}

TEST(HostProgramTest, AScriptThatCannotBeReadEndsWithStatusOne)
{
    const HostRun run = runHost("", { "/nowhere/script.jsonl" });

    EXPECT_TRUE(run.lines.empty());
    EXPECT_EQ(run.exitStatus(), 1);
    EXPECT_THAT(run.diagnostics, HasSubstr("/nowhere/script.jsonl"));
}

TEST(HostProgramTest, AnotherSeedGivesAnotherLegalOrder)
{
    std::string script = R"({"op":"setTriggerCallback","on":false}
{"op":"http","answers":[{"error":"gone"}],"repeat":true}
{"op":"hold","on":true}
)";
    for (const char* index : { "A", "B", "C", "D" }) {
        const std::string name(index);
        script += R"({"op":"register","index":")" + name + R"(","maxLimit":9,"url":"http://c/)"
            + name
            + "\"}\n"
              R"({"op":"insertRetry","index":")"
            + name
            + R"(","data":{},"retryCount":1})"
              "\n";
    }
    script += R"({"op":"step","count":2}
{"op":"retrySize","index":"A"}
{"op":"retrySize","index":"B"}
{"op":"retrySize","index":"C"}
{"op":"retrySize","index":"D"}
)";

    const HostRun plain = runSimulated(script, "0");
    bool isAnother = false;
    for (int seed = 1; seed <= 8; ++seed)
        isAnother = isAnother || runSimulated(script, std::to_string(seed)).lines != plain.lines;

    EXPECT_TRUE(isAnother);
}

} // namespace telvora::tests
