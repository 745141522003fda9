#include <benchmarks/SinkCollector.h>

#include <Telvora/Base/Dictionary.h>

#include <benchmarks/Figures.h>

#include <curl/curl.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace telvora {

namespace {

std::size_t appendTo(char* data, std::size_t size, std::size_t count, void* text)
{
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

[[noreturn]] void fail(const std::string& what)
{
    std::cerr << what << '\n';
    std::exit(1);
}

} // namespace

SinkCollector::SinkCollector(const std::string& program)
{
    char portFile[] = "/tmp/telvora-bench-port-XXXXXX";
    ::close(::mkstemp(portFile));
    std::string arguments[] = { program, "--sink", "--port-file", portFile };
    char* list[] = { arguments[0].data(), arguments[1].data(), arguments[2].data(),
        arguments[3].data(), nullptr };
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 1, 0);
    const int problem
        = ::posix_spawn(&m_process, program.c_str(), &actions, nullptr, list, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (problem != 0)
        fail("cannot start " + program);

    int port = 0;
    waitUntil("the collector's port", [&] { return bool(std::ifstream(portFile) >> port); });
    ::unlink(portFile);
    m_address = "http://127.0.0.1:" + std::to_string(port);
}

SinkCollector::~SinkCollector()
{
    ::kill(m_process, SIGTERM);
    ::waitpid(m_process, nullptr, 0);
}

SinkCollector::Counts SinkCollector::countsAfter(long requests) const
{
    const std::string url
        = m_address + "/_telvora/wait?timeout=10&requests=" + std::to_string(requests);
    std::string text;
    CURL* handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, appendTo);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &text);
    const CURLcode code = curl_easy_perform(handle);
    curl_easy_cleanup(handle);
    const Decoded decoded = decode(text);
    if (code != CURLE_OK || !decoded.value)
        fail("the collector does not answer with its counts: " + text);
    const Dictionary& total = decoded.value->at("total").as_object();
    return { static_cast<long>(total.at("requests").to_number<std::int64_t>()),
        static_cast<long>(total.at("bytes").to_number<std::int64_t>()) };
}

} // namespace telvora
