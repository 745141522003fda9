#include <tools/collector/RequestLog.h>

#include <tools/collector/Printable.h>
#include <tools/collector/TimeText.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace telvora::collector {
namespace {

std::string counted(std::uint64_t number, const char* what)
{
    return std::to_string(number) + ' ' + what + (number == 1 ? "" : "s");
}

std::string verdictText(const Verdict& verdict)
{
    if (verdict.isOk())
        return "ok";
    constexpr std::size_t longest = 200;
    std::string text = "bad: " + printable(verdict.problems.front(), longest);
    if (verdict.problems.size() > 1)
        text += " (and " + std::to_string(verdict.problems.size() - 1) + " more)";
    return text;
}

bool becomesReady(int terminal)
{
    constexpr int longestMilliseconds = 10;
    pollfd state { terminal, POLLOUT, 0 };
    return ::poll(&state, 1, longestMilliseconds) > 0;
}

} // namespace

std::string lineOf(const Request& request)
{
    constexpr std::size_t longestName = 60;
    constexpr std::size_t longestPath = 200;
    std::string line = timeOfDay(request.secondsSince1970);
    line += "  " + printable(request.method, longestName);
    line += ' ' + printable(request.target, longestPath) + "  ";
    // Without an array of events nobody knows how many there are.
    if (request.verdict.events > 0)
        line += counted(request.verdict.events, "event") + ", ";
    line += counted(request.body.size(), "byte") + "  ";
    if (request.status != 0)
        line += std::to_string(request.status) + ' ';
    line += outcomeText(request.outcome);
    line += "  " + verdictText(request.verdict);
    if (!request.rule.empty())
        line += "  rule " + printable(request.rule, longestName);
    return line;
}

RequestLog::~RequestLog()
{
    if (m_terminal >= 0)
        ::close(m_terminal);
}

void RequestLog::open(int descriptor)
{
    if (::isatty(descriptor) == 0)
        return;
    // A descriptor of our own, because other processes share the given one and must not find it
    // non-blocking. Where the terminal belongs to another user, only the given one can be used.
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    m_terminal = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (m_terminal < 0)
        m_terminal = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

void RequestLog::note(const Request& request)
{
    if (m_terminal >= 0)
        write(lineOf(request));
}

void RequestLog::noteMalformed(double secondsSince1970, int status, std::string_view why)
{
    if (m_terminal >= 0)
        write(timeOfDay(secondsSince1970) + "  " + std::to_string(status) + ' ' + std::string(why));
}

void RequestLog::write(std::string line)
{
    if (m_missing > 0)
        line.insert(0, "(" + counted(m_missing, "line") + " left out)\n");
    if (m_isLineCut)
        line.insert(0, "\n");
    line += '\n';
    std::string_view rest(line);
    constexpr int longestTries = 3;
    for (int tries = 0; tries < longestTries && !rest.empty(); ++tries) {
        // Another process may be writing there, which takes no time. Where the terminal has
        // been unable to take the last line, waiting is no use.
        if (tries > 0 && (m_missing > 0 || !becomesReady(m_terminal)))
            break;
        const ssize_t size = ::write(m_terminal, rest.data(), rest.size());
        if (size > 0)
            rest.remove_prefix(static_cast<std::size_t>(size));
    }
    if (rest.empty()) {
        m_missing = 0;
        m_isLineCut = false;
    } else {
        ++m_missing;
        m_isLineCut = m_isLineCut || rest.size() < line.size();
    }
}

} // namespace telvora::collector
