#include <tests/Platform/Curl/Peers/Peer.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace telvora::detail {

namespace {

std::string peersFolder()
{
    if (const char* folder = std::getenv("TELVORA_PEERS"))
        return folder;
    if (const char* cache = std::getenv("XDG_CACHE_HOME"))
        return std::string(cache) + "/telvora/peers";
    const char* home = std::getenv("HOME");
    return std::string(home ? home : "") + "/.cache/telvora/peers";
}

std::string libraryFolders()
{
    std::string folders;
    for (const auto& entry : std::filesystem::directory_iterator(peersFolder() + "/usr/lib")) {
        if (entry.is_directory())
            folders += entry.path().string() + ":";
    }
    return folders;
}

// Of this process and no other one: 127.64.0.0 to 127.127.255.255.
std::string ownAddress()
{
    const auto process = static_cast<unsigned>(::getpid());
    return "127." + std::to_string(64 + (process >> 16 & 63)) + "."
        + std::to_string(process >> 8 & 255) + "." + std::to_string(process & 255);
}

sockaddr_in socketAddress(const std::string& address, int port)
{
    sockaddr_in end {};
    end.sin_family = AF_INET;
    end.sin_port = htons(static_cast<std::uint16_t>(port));
    ::inet_pton(AF_INET, address.c_str(), &end.sin_addr);
    return end;
}

/// Runs in a process of its own, with nothing of the test's open: runs the program, tells its
/// number, and ends the program and all that it has started once the test lets go of the lifeline.
[[noreturn]] void guard(int lifeline, int output, int log, const char* path, char* const* arguments)
{
    // A signal to the test's group must not end this process before the program.
    ::setpgid(0, 0);
    // Whatever outlives its parent becomes a child of this process, which waits for its end.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::dup2(log, STDERR_FILENO);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(lifeline, 3);
    ::dup2(output, 4);
    ::close_range(5, ~0U, 0);
    const pid_t program = ::fork();
    if (program == 0) {
        ::setpgid(0, 0);
        ::close_range(3, ~0U, 0);
        ::execv(path, arguments);
        ::_exit(127);
    }
    ::setpgid(program, program);
    static_cast<void>(::write(4, &program, sizeof(program)));
    ::close(4);
    pollfd end { 3, POLLIN, 0 };
    while (::poll(&end, 1, -1) <= 0) { }
    ::kill(-program, SIGKILL);
    while (::wait(nullptr) > 0 || errno == EINTR) { }
    ::_exit(0);
}

} // namespace

Peer::Peer(std::string program)
    : m_program(std::move(program))
    , m_address(ownAddress())
    , m_certificates(m_address)
{
    if (::access(path().c_str(), X_OK) != 0)
        throw std::runtime_error(m_program + " is not in " + peersFolder()
            + ": run scripts/bootstrap, which unpacks it there");
    ::setenv("LD_LIBRARY_PATH", libraryFolders().c_str(), 1);
}

Peer::~Peer()
{
    stop();
}

std::string Peer::path() const
{
    return peersFolder() + "/usr/sbin/" + m_program;
}

void Peer::write(const std::string& name, const std::string& text) const
{
    std::ofstream(file(name)) << text;
}

void Peer::start(const std::vector<std::string>& arguments, std::vector<int> ports)
{
    m_arguments = arguments;
    m_ports = std::move(ports);
    startProcesses();
    for (int port : m_ports)
        waitUntilListening(port);
}

void Peer::startProcesses()
{
    std::vector<std::string> words { path() };
    words.insert(words.end(), m_arguments.begin(), m_arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    int lifeline[2];
    int output[2];
    const int log = ::open(file("log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (log < 0 || ::pipe2(lifeline, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0)
        throw std::runtime_error("no descriptors for a server");
    m_guard = ::fork();
    if (m_guard == 0)
        guard(lifeline[0], output[1], log, words.front().c_str(), pointers.data());
    ::close(lifeline[0]);
    ::close(output[1]);
    ::close(log);
    m_lifeline = lifeline[1];
    if (::read(output[0], &m_process, sizeof(m_process)) != sizeof(m_process))
        throw std::runtime_error(m_program + " does not start");
    ::close(output[0]);
}

void Peer::stop()
{
    if (m_guard < 0)
        return;
    ::close(m_lifeline);
    ::waitpid(m_guard, nullptr, 0);
    m_guard = -1;
}

void Peer::restart()
{
    stop();
    startProcesses();
    for (int port : m_ports)
        waitUntilListening(port);
}

void Peer::signal(int number) const
{
    ::kill(m_process, number);
}

void Peer::waitUntilListening(int port) const
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const sockaddr_in end = socketAddress(m_address, port);
    while (std::chrono::steady_clock::now() < limit) {
        const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int result = ::connect(socket, reinterpret_cast<const sockaddr*>(&end), sizeof(end));
        ::close(socket);
        if (result == 0)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw std::runtime_error(m_program + " does not listen:\n" + log());
}

std::string Peer::log() const
{
    std::ostringstream text;
    text << std::ifstream(file("log")).rdbuf();
    return text.str();
}

} // namespace telvora::detail
