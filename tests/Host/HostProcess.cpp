#include <tests/Host/HostProcess.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace telvora::tests {

namespace {

// A file without a name. Unlike with a pipe, writer and reader never wait for each other.
class Scratch {
public:
    explicit Scratch(const std::string& content = {})
        : m_descriptor(memfd_create("host", MFD_CLOEXEC))
    {
        std::size_t written = 0;
        while (written < content.size()) {
            const ssize_t count
                = ::write(m_descriptor, content.data() + written, content.size() - written);
            if (count <= 0)
                throw std::runtime_error("The script cannot be written");
            written += static_cast<std::size_t>(count);
        }
        lseek(m_descriptor, 0, SEEK_SET);
    }
    ~Scratch() { close(m_descriptor); }

    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    int descriptor() const { return m_descriptor; }

    std::string content() const
    {
        std::string text;
        char buffer[65536];
        ssize_t count = 0;
        while ((count = pread(m_descriptor, buffer, sizeof buffer, static_cast<off_t>(text.size())))
            > 0)
            text.append(buffer, static_cast<std::size_t>(count));
        return text;
    }

private:
    const int m_descriptor;
};

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

int HostRun::exitStatus() const
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int HostRun::signal() const
{
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

HostRun runHost(const std::string& script, const std::vector<std::string>& arguments)
{
    const Scratch input(script);
    const Scratch output;
    const Scratch diagnostics;
    std::vector<char*> argumentPointers;
    std::string program = TELVORA_HOST_PROGRAM;
    argumentPointers.push_back(program.data());
    std::vector<std::string> own = arguments;
    for (std::string& argument : own)
        argumentPointers.push_back(argument.data());
    argumentPointers.push_back(nullptr);

    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("The host cannot be started");
    if (child == 0) {
        // Both settings survive exec(): the host ends with the test, and after a minute.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(60);
        dup2(input.descriptor(), STDIN_FILENO);
        dup2(output.descriptor(), STDOUT_FILENO);
        dup2(diagnostics.descriptor(), STDERR_FILENO);
        execv(argumentPointers[0], argumentPointers.data());
        _exit(127);
    }

    HostRun run;
    while (waitpid(child, &run.status, 0) < 0 && errno == EINTR) { }
    run.lines = linesOf(output.content());
    run.diagnostics = diagnostics.content();
    return run;
}

HostRun runSimulated(const std::string& script, const std::string& seed)
{
    return runHost(script, { "--platform", "simulated", "--seed", seed });
}

} // namespace telvora::tests
