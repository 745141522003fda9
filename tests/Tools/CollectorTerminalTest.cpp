#include <tests/Tools/CollectorProgram.h>

#include <tools/collector/RequestLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace telvora::tests {
namespace {

using collector::lineOf;
using collector::Outcome;
using collector::Request;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

// A terminal without a screen: the program writes at one end, and the test reads at the other.
class Terminal {
public:
    Terminal()
        : m_screen(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        ::grantpt(m_screen);
        ::unlockpt(m_screen);
        m_line = ::open(::ptsname(m_screen), O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(m_line, 0);
    }
    ~Terminal()
    {
        ::close(m_line);
        ::close(m_screen);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int line() const { return m_line; }

    std::string readLine() const
    {
        std::string line;
        char c = 0;
        while (::read(m_screen, &c, 1) == 1 && c != '\n')
            line += c;
        EXPECT_THAT(line, EndsWith("\r"));
        return line.substr(0, line.size() - 1);
    }

    // What is left once the program has ended.
    std::string readRest()
    {
        ::close(m_line);
        m_line = -1;
        std::string text;
        char c = 0;
        while (::read(m_screen, &c, 1) == 1)
            text += c;
        return text;
    }

private:
    int m_screen;
    int m_line = -1;
};

Request exampleRequest()
{
    ::setenv("TZ", "UTC0", 1);
    Request request;
    request.secondsSince1970 = 1700000000.25;
    request.method = "POST";
    request.target = "/e2e";
    request.body = std::string(1893, 'x');
    request.verdict.events = 20;
    request.status = 200;
    request.outcome = Outcome::accepted;
    return request;
}

TEST(CollectorTerminalTest, ALineHasTimePathCountsAnswerAndVerdict)
{
    EXPECT_EQ(lineOf(exampleRequest()),
        "22:13:20.250  POST /e2e  20 events, 1893 bytes  200 accepted  ok");
}

TEST(CollectorTerminalTest, ALineHasTheFirstProblemAndTheRule)
{
    Request request = exampleRequest();
    request.verdict.events = 0;
    request.verdict.problems = { "one", "two", "three" };
    request.body = "x";
    request.status = 0;
    request.outcome = Outcome::undelivered;
    request.rule = "silent";

    EXPECT_EQ(lineOf(request),
        "22:13:20.250  POST /e2e  1 byte  undelivered  bad: one (and 2 more)  rule silent");
}

TEST(CollectorTerminalTest, ALineHasNothingThatATerminalObeys)
{
    Request request = exampleRequest();
    request.target = "/\x1B]0;title\x07\xC2\x9B\n";
    request.verdict.problems = { "\x1B[2J" };
    request.rule = "\r\xE2\x80\xAE";

    EXPECT_EQ(lineOf(request),
        "22:13:20.250  POST /\\x1b]0;title\\x07\\xc2\\x9b\\x0a  20 events, 1893 bytes  "
        "200 accepted  bad: \\x1b[2J  rule \\x0d\\xe2\\x80\\xae");
}

TEST(CollectorTerminalTest, ALineIsNotEndless)
{
    Request request = exampleRequest();
    request.target = "/" + std::string(60000, 'x');
    request.verdict.problems = { std::string(60000, '\0') };
    request.rule = std::string(60000, 'r');

    EXPECT_LT(lineOf(request).size(), 1300U);
}

TEST(CollectorTerminalTest, EachRequestIsShownAsOneLine)
{
    Terminal terminal;
    const CollectorProgram program({}, terminal.line());
    program.installRules(R"([{"name":"slow","path":"/slow","status":500,"body":"","times":1}])");
    const std::string time = "[0-9]+:[0-9]+:[0-9]+[.][0-9]+  ";

    program.post("/e2e", eventsBody(2));
    EXPECT_THAT(terminal.readLine(),
        MatchesRegex(time + "POST /e2e  2 events, [0-9]+ bytes  200 accepted  ok"));
    program.post("/slow?x=1", eventsBody(1));
    EXPECT_THAT(terminal.readLine(),
        MatchesRegex(
            time + "POST /slow[?]x=1  1 event, [0-9]+ bytes  500 rejected  ok  rule slow"));
    program.connect().exchange(get("/\xC2\x9B"
                                   "2J"));
    EXPECT_THAT(terminal.readLine(),
        MatchesRegex(
            time + R"(GET /\\xc2\\x9b2J  0 bytes  405 rejected  bad: method is GET, not POST .*)"));
    program.connect().exchange("nonsense\r\n\r\n");
    EXPECT_THAT(terminal.readLine(), MatchesRegex(time + "400 malformed request"));
}

TEST(CollectorTerminalTest, RequestsForTheCollectorItselfAreNotShown)
{
    Terminal terminal;
    CollectorProgram program({}, terminal.line());
    program.summary();
    program.connect().exchange(get("/_telvora/"));
    program.post("/e2e", eventsBody(1));

    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_THAT(terminal.readRest(), MatchesRegex("[0-9:.]+  POST /e2e .*\r\n"));
}

TEST(CollectorTerminalTest, QuietAndASinkShowNoLines)
{
    for (const char* option : { "--quiet", "--sink" }) {
        Terminal terminal;
        CollectorProgram program({ option }, terminal.line());
        program.post("/e2e", eventsBody(1));
        program.connect().exchange("nonsense\r\n\r\n");

        EXPECT_EQ(program.end(SIGTERM), 0);
        EXPECT_EQ(terminal.readRest(), "") << option;
    }
}

TEST(CollectorTerminalTest, NothingIsShownWhereStandardErrorIsAFile)
{
    const std::string path = temporaryFile("errors");
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    CollectorProgram program({}, file);
    program.post("/e2e", eventsBody(1));

    EXPECT_EQ(program.end(SIGTERM), 0);
    EXPECT_EQ(contentOf(path), "");
    ::close(file);
}

TEST(CollectorTerminalTest, AnswersDoNotWaitForAStoppedTerminal)
{
    Terminal terminal;
    const CollectorProgram program({}, terminal.line());

    ASSERT_EQ(::tcflow(terminal.line(), TCOOFF), 0);
    EXPECT_EQ(program.post("/first", eventsBody(1)).status, 200);
    EXPECT_EQ(program.post("/second", eventsBody(1)).status, 200);
    program.await("settled=2");
    ASSERT_EQ(::tcflow(terminal.line(), TCOON), 0);
    program.post("/third", eventsBody(1));

    EXPECT_EQ(terminal.readLine(), "(2 lines left out)");
    EXPECT_THAT(terminal.readLine(), HasSubstr("/third"));
}

TEST(CollectorTerminalTest, AnswersDoNotWaitForATerminalThatIsFull)
{
    Terminal terminal;
    const CollectorProgram program({}, terminal.line());
    Wire wire = program.connect();

    // Nobody reads, and no buffer of a terminal holds this much.
    constexpr int requests = 2000;
    for (int i = 0; i < requests; ++i)
        ASSERT_EQ(wire.exchange(batch("/" + std::string(150, 'x'), eventsBody(1))).status, 200);

    EXPECT_EQ(program.total().at("requests"), requests);
    EXPECT_THAT(terminal.readLine(), HasSubstr("/xxx"));
}

} // namespace
} // namespace telvora::tests
