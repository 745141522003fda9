#include <tests/Host/HostProcess.h>
#include <tests/Platform/Curl/TLSServer.h>
#include <tests/Tools/CollectorProgram.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

// What a host is told where its data do not arrive, with real faults: docs/troubleshooting.md has
// each of them.

namespace telvora::tests {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

// Posted by the flush alone, so that each batch is tried once.
std::string channel(const std::string& index, const std::string& url, const std::string& more = "")
{
    return R"({"op":"register","index":")" + index + R"(","maxLimit":100,"url":")" + url + '"'
        + more + "}\n" + R"({"op":"appendTracker","event":{"name":"x"},"for":")" + index + "\"}\n";
}

std::string collector(const CollectorProgram& program, const std::string& path)
{
    return "http://127.0.0.1:" + std::to_string(program.port()) + path;
}

// The last reply to "diagnosis", with its escapes.
std::string diagnosisIn(const HostRun& run)
{
    const auto line
        = std::find_if(run.lines.rbegin(), run.lines.rend(), [](const std::string& candidate) {
              return candidate.starts_with(R"({"reply":"diagnosis")");
          });
    return line == run.lines.rend() ? std::string() : *line;
}

} // namespace

TEST(HostFaultsTest, EachFaultIsNamedInTheDiagnosisTheLedgerAndADiagnostic)
{
    const CollectorProgram program;
    program.installRules(R"([
        {"path": "/refuses", "status": 401, "body": "{\"error\":\"no token\"}"},
        {"path": "/html", "body": "<html>"},
        {"path": "/list", "body": "[]"}])");
    const detail::TLSServer server;

    const HostRun run = runHost(R"({"op":"setTriggerCallback","on":false}
{"op":"diagnostics"}
)" + channel("closed", "http://127.0.0.1:1/")
        + channel("certificate", server.url())
        + channel("refuses", collector(program, "/refuses"))
        // No route leads to a group address.
        + channel("unreachable", "http://224.0.0.1/") + channel("html", collector(program, "/html"))
        + channel("list", collector(program, "/list"))
        + channel("bad", "", R"(,"badAddress":"fail")")
        + channel("fine", collector(program, "/fine")) + R"({"op":"flush","deadline":50}
{"op":"diagnosis"}
{"op":"ledger","index":"certificate"}
)");

    const std::string diagnosis = diagnosisIn(run);
    EXPECT_THAT(diagnosis, HasSubstr("(http://127.0.0.1:1/)"));
    EXPECT_THAT(diagnosis, HasSubstr("Couldn't connect to server"));
    EXPECT_THAT(diagnosis, HasSubstr("certificate"));
    EXPECT_THAT(diagnosis, HasSubstr("status 401"));
    EXPECT_THAT(diagnosis, HasSubstr("unreachable: 1 waiting"));
    EXPECT_THAT(diagnosis, HasSubstr("The answer is not JSON"));
    EXPECT_THAT(diagnosis, HasSubstr("The answer is JSON, but no object"));
    EXPECT_THAT(diagnosis, HasSubstr("cannot be parsed"));
    EXPECT_THAT(diagnosis, HasSubstr("fine: 1 delivered"));
    for (const char* index : { "closed", "certificate", "refuses", "unreachable", "html", "bad" }) {
        EXPECT_THAT(run.lines,
            Contains(AllOf(HasSubstr(R"("kind":"uploadFailed","index":")" + std::string(index)),
                HasSubstr(R"("willRetry":true)"))));
    }
    EXPECT_THAT(run.lines,
        Contains(AllOf(HasSubstr(R"("kind":"batchGivenUp","index":"list")"),
            HasSubstr(R"("dropReason":"answerNotObject")"))));
    EXPECT_THAT(run.lines.back(),
        AllOf(HasSubstr(R"("lastFailure":{"secondsSince1970":)"),
            HasSubstr(R"("status":0,"reason":"SSL certificate problem)"),
            HasSubstr(R"("outcome":"waiting")")));
    EXPECT_EQ(run.exitStatus(), 0) << run.diagnostics;
}

TEST(HostFaultsTest, ACollectorThatHangsIsSeenAsARequestUnderWay)
{
    const CollectorProgram program;
    program.installRules(R"([{"path": "/", "never": true}])");

    const HostRun run
        = runHost(channel("hangs", collector(program, "/")) + R"({"op":"flush","deadline":0.1}
{"op":"diagnosis"}
{"op":"shutdown","deadline":0.1}
)");

    EXPECT_THAT(run.lines, Contains(R"({"reply":"flush","result":{"atRest":false,"left":1}})"));
    EXPECT_THAT(diagnosisIn(run), HasSubstr("hangs: 1 in flight"));
    EXPECT_EQ(run.lines.back(), R"({"reply":"shutdown","result":{"atRest":false,"left":1}})");
    EXPECT_EQ(run.exitStatus(), 0) << run.diagnostics;
}

} // namespace telvora::tests
