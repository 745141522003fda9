#include <tests/Platform/Curl/PythonServer.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace telvora::detail {

PythonServer::PythonServer(const char* program, const std::vector<std::string>& arguments)
{
    std::vector<const char*> words { "python3", "-c", program };
    for (const std::string& argument : arguments)
        words.push_back(argument.c_str());
    words.push_back(nullptr);

    int lifeline[2];
    int output[2];
    if (pipe2(lifeline, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0)
        std::abort();
    m_process = fork();
    if (m_process == 0) {
        dup2(lifeline[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        execv("/usr/bin/python3", const_cast<char* const*>(words.data()));
        _exit(127);
    }
    close(lifeline[0]);
    close(output[1]);
    m_lifeline = lifeline[1];
    for (char letter = 0; read(output[0], &letter, 1) == 1 && letter != '\n';)
        m_port += letter;
    close(output[0]);
    if (m_port.empty())
        std::abort();
}

PythonServer::~PythonServer()
{
    close(m_lifeline);
    waitpid(m_process, nullptr, 0);
}

} // namespace telvora::detail
