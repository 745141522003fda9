#include <tests/Tools/CollectorProgram.h>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>

namespace telvora::tests {
namespace {

// Starts the program with these descriptors as its output and its errors.
pid_t startCollector(std::vector<std::string> arguments, int output, int errors)
{
    arguments.insert(arguments.begin(), TELVORA_COLLECTOR_PROGRAM);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    const pid_t process = ::fork();
    if (process == 0) {
        ::dup2(output, STDOUT_FILENO);
        ::dup2(errors, STDERR_FILENO);
        ::execv(pointers.front(), pointers.data());
        ::_exit(127);
    }
    return process;
}

int exitStatus(pid_t process)
{
    int status = 0;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

CollectorProgram::CollectorProgram(std::vector<std::string> arguments)
    // Who runs the tests in a terminal does not want a line for each request.
    : CollectorProgram((arguments.push_back("--quiet"), std::move(arguments)), STDERR_FILENO)
{
}

CollectorProgram::CollectorProgram(std::vector<std::string> arguments, int errors)
{
    arguments.insert(arguments.end(), { "--control", "127.0.0.1:0" });
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    m_process = startCollector(std::move(arguments), ends[1], errors);
    ::close(ends[1]);
    m_output = ends[0];
    m_controlPort = readPort("control at http://127.0.0.1:");
    m_port = readPort("listening on http://127.0.0.1:");
}

CollectorProgram::~CollectorProgram()
{
    if (m_process > 0) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    ::close(m_output);
}

std::string CollectorProgram::readLine()
{
    std::string line;
    char c = 0;
    while (::read(m_output, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

std::uint16_t CollectorProgram::readPort(const std::string& prefix)
{
    const std::string line = readLine();
    EXPECT_TRUE(line.starts_with(prefix)) << line;
    return line.starts_with(prefix)
        ? static_cast<std::uint16_t>(std::stoul(line.substr(prefix.size())))
        : std::uint16_t { 0 };
}

Wire::Reply CollectorProgram::post(std::string_view path, std::string_view body) const
{
    return connect().exchange(batch(path, body));
}

boost::json::object CollectorProgram::control(
    std::string_view method, std::string_view target, std::string_view body) const
{
    Wire wire(m_controlPort);
    wire.send(request(method, target, body));
    const Wire::Reply reply = wire.read();
    EXPECT_EQ(reply.status, 200) << method << ' ' << target << ": " << reply.body;
    boost::system::error_code error;
    const auto value = boost::json::parse(reply.body, error);
    EXPECT_TRUE(value.is_object()) << reply.body;
    return value.is_object() ? value.get_object() : boost::json::object();
}

boost::json::array CollectorProgram::requests(std::uint64_t since) const
{
    return control("GET", "/_telvora/requests?since=" + std::to_string(since))
        .at("requests")
        .as_array();
}

void CollectorProgram::installRules(std::string_view rules) const
{
    control("PUT", "/_telvora/rules", rules);
}

boost::json::object CollectorProgram::await(std::string_view query) const
{
    auto summary = control("GET", "/_telvora/wait?" + std::string(query));
    EXPECT_EQ(summary.at("reached"), true) << query;
    return summary;
}

int CollectorProgram::end(int signal)
{
    ::kill(m_process, signal);
    return exitStatus(std::exchange(m_process, -1));
}

std::size_t CollectorProgram::residentBytes() const
{
    std::ifstream file("/proc/" + std::to_string(m_process) + "/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

int runCollector(const std::vector<std::string>& arguments, std::string& output)
{
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const pid_t process = startCollector(arguments, ends[1], ends[1]);
    ::close(ends[1]);
    char buffer[4096];
    for (ssize_t size = 0; (size = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        output.append(buffer, static_cast<std::size_t>(size));
    ::close(ends[0]);
    return exitStatus(process);
}

std::string temporaryFile(std::string_view name)
{
    std::string path = testing::TempDir() + std::to_string(::getpid()) + '-' + std::string(name);
    ::unlink(path.c_str());
    return path;
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(file), {} };
}

std::string eventsBody(int count, std::string_view key)
{
    std::string body = R"({"os":"ios",")" + std::string(key) + "\":[";
    for (int i = 0; i < count; ++i)
        body += (i > 0 ? ",{\"n\":" : "{\"n\":") + std::to_string(i) + '}';
    return body + "]}";
}

} // namespace telvora::tests
