#include <tests/Tools/CollectorProgram.h>

#include <tools/collector/Options.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace telvora::tests {
namespace {

using collector::Options;
using collector::readOptions;
using testing::HasSubstr;

TEST(CollectorOptionsTest, ListensOnAFreeLoopbackPortByDefault)
{
    const Options options = readOptions({});

    EXPECT_EQ(options.problem, "");
    EXPECT_EQ(options.listen.address, "127.0.0.1");
    EXPECT_EQ(options.listen.port, 0);
    EXPECT_FALSE(options.control);
}

TEST(CollectorOptionsTest, TakesValuesAfterASpaceOrAnEqualsSign)
{
    const Options options = readOptions(
        { "--listen=localhost:80", "--control", "[::1]:0", "--max-memory", "3", "--record=a=b" });

    EXPECT_EQ(options.problem, "");
    EXPECT_EQ(options.listen.address, "127.0.0.1");
    EXPECT_EQ(options.listen.port, 80);
    EXPECT_EQ(options.control->address, "::1");
    EXPECT_EQ(options.maximumMemory, 3U << 20U);
    EXPECT_EQ(options.recordFile, "a=b");
}

TEST(CollectorOptionsTest, TakesDurationsWithAUnitOrInSeconds)
{
    EXPECT_EQ(readOptions({ "--idle", "2min" }).idle, std::chrono::minutes(2));
    EXPECT_EQ(readOptions({ "--slow=250ms" }).slow, std::chrono::milliseconds(250));
    EXPECT_EQ(readOptions({ "--slow", "7" }).slow, std::chrono::seconds(7));
    EXPECT_EQ(readOptions({}).idle, std::chrono::minutes(5));
    EXPECT_EQ(readOptions({}).slow, std::chrono::seconds(30));
}

TEST(CollectorOptionsTest, ReportsADurationThatIsNone)
{
    for (const char* text : { "", "2m", "-1", "1.5", "1000001", "1000h", "3s ", "7x" })
        EXPECT_THAT(readOptions({ "--idle", text }).problem, HasSubstr("--idle needs a duration"))
            << text;
}

TEST(CollectorOptionsTest, ReportsWhatIsWrong)
{
    for (const std::vector<std::string>& arguments :
        std::vector<std::vector<std::string>> { { "--listen", "80" },
            { "--listen", "127.0.0.1:70000" }, { "--listen" }, { "--nonsense", "1" }, { "loose" },
            { "--max-memory", "-1" }, { "--max-memory", "1x" }, { "--sink", "--rules", "x" } })
        EXPECT_NE(readOptions(arguments).problem, "") << arguments.front();
}

TEST(CollectorProgramTest, HelpNamesTheOptionsAndSucceeds)
{
    std::string output;
    EXPECT_EQ(runCollector({ "--help" }, output), 0);
    EXPECT_THAT(output, HasSubstr("--port-file"));
}

TEST(CollectorProgramTest, PrintsItsNameAndTheVersionOfTheLibrary)
{
    std::string output;
    EXPECT_EQ(runCollector({ "--version" }, output), 0);
    EXPECT_EQ(output, "telvora-collector " TELVORA_COLLECTOR_VERSION "\n");
}

TEST(CollectorProgramTest, AWrongCommandLineEndsWithStatusTwo)
{
    std::string output;
    EXPECT_EQ(runCollector({ "--no-such-thing", "1" }, output), 2);
    EXPECT_THAT(output, HasSubstr("unknown option --no-such-thing"));
}

TEST(CollectorProgramTest, APortInUseEndsWithStatusOne)
{
    const CollectorProgram other;
    std::string output;

    const std::string place = "127.0.0.1:" + std::to_string(other.port());
    EXPECT_EQ(runCollector({ "--listen", place }, output), 1);
    EXPECT_THAT(output, HasSubstr("cannot listen at " + place));
}

TEST(CollectorProgramTest, RulesThatCannotBeReadEndWithStatusOne)
{
    std::string output;
    EXPECT_EQ(runCollector({ "--rules", "/nonexistent/rules" }, output), 1);
    EXPECT_EQ(runCollector({ "--rules", testing::TempDir() }, output), 1);
    EXPECT_THAT(output, HasSubstr("cannot read " + testing::TempDir()));
    EXPECT_EQ(runCollector({ "--record", "/nonexistent/record" }, output), 1);
    EXPECT_EQ(runCollector({ "--port-file", "/nonexistent/port" }, output), 1);
}

TEST(CollectorProgramTest, WritesBothPortsToTheirFiles)
{
    const std::string portFile = temporaryFile("port");
    const std::string controlFile = temporaryFile("control");
    const CollectorProgram program({ "--port-file", portFile, "--control-port-file", controlFile });

    EXPECT_EQ(contentOf(portFile), std::to_string(program.port()) + "\n");
    EXPECT_EQ(contentOf(controlFile), std::to_string(program.controlPort()) + "\n");
}

TEST(CollectorProgramTest, EndsCleanlyOnEitherSignalWithWorkUnderWay)
{
    for (const int signal : { SIGTERM, SIGINT }) {
        CollectorProgram program;
        program.installRules(R"([{"path":"/never","never":true},{"path":"/late","delay":60}])");
        Wire idle = program.connect();
        Wire begun = program.connect();
        begun.send("POST /e2e HTTP/1.1\r\nContent-Le");
        Wire never = program.connect();
        never.send(batch("/never", eventsBody(1)));
        Wire late = program.connect();
        late.send(batch("/late", eventsBody(1)));
        program.await("requests=2");

        EXPECT_EQ(program.end(signal), 0);
        EXPECT_EQ(never.read().status, 0);
    }
}

} // namespace
} // namespace telvora::tests
