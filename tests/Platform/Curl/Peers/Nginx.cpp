#include <tests/Platform/Curl/Peers/Nginx.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

namespace telvora::detail {

namespace {

// Everything that nginx would put elsewhere is in its folder, which is where it runs.
constexpr const char* begin = R"(
daemon off;
worker_processes 2;
pid nginx.pid;
events { worker_connections 4096; }
http {
    log_format number "$http_x_number";
    access_log answered number;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
)";

std::string serverBlock(const std::string& listen, const Nginx::Settings& settings)
{
    return "server { listen " + listen + "; ssl_certificate server.pem;"
        + " ssl_certificate_key server.key; " + settings.server
        + " location = /batch { proxy_pass http://collector; } " + settings.locations + " }\n";
}

// What nginx answers itself it answers before it has read the body. A collector reads it first, so
// another server of the same nginx plays the collector.
std::string collector(const std::string& address)
{
    const std::string end = address + ":8000";
    return "proxy_http_version 1.1; proxy_set_header Connection '';\n"
           "upstream collector { server "
        + end
        + "; keepalive 100; }\n"
          "server { listen "
        + end
        + "; access_log off; keepalive_requests 1000000;"
          " location / { return 200 '{}'; } }\n";
}

} // namespace

Nginx::Nginx(const Settings& settings)
{
    const auto listen = [&](Protocol protocol, const char* options) {
        return serverBlock(
            m_peer.address() + ":" + std::to_string(port(protocol)) + options, settings);
    };
    // Run by root, it would otherwise give its workers another user, who may not write here.
    std::string text = ::getuid() == 0 ? "user root root;" : "";
    text += begin + collector(m_peer.address()) + listen(Protocol::plain, "")
        + listen(Protocol::secure, " ssl") + listen(Protocol::http2, " ssl http2") + "}\n";
    m_peer.write("nginx.conf", text);
    m_peer.start({ "-p", m_peer.folder(), "-c", "nginx.conf", "-e", "stderr" },
        { port(Protocol::plain), port(Protocol::secure), port(Protocol::http2) });
}

std::ostream& operator<<(std::ostream& output, Nginx::Protocol protocol)
{
    constexpr const char* names[] = { "plain", "secure", "http2" };
    return output << names[static_cast<int>(protocol)];
}

int Nginx::port(Protocol protocol)
{
    switch (protocol) {
    case Protocol::plain:
        return 8080;
    case Protocol::secure:
        return 8443;
    case Protocol::http2:
        return 8444;
    }
    return 0;
}

std::string Nginx::url(Protocol protocol, const std::string& target) const
{
    return (protocol == Protocol::plain ? "http://" : "https://") + m_peer.address() + ":"
        + std::to_string(port(protocol)) + target;
}

void Nginx::reload() const
{
    m_peer.signal(SIGHUP);
}

std::vector<int> Nginx::answered(std::size_t count) const
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::vector<int> numbers;
    do {
        numbers.clear();
        std::ifstream log(m_peer.file("answered"));
        for (int number = 0; log >> number;)
            numbers.push_back(number);
        if (numbers.size() < count)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } while (numbers.size() < count && std::chrono::steady_clock::now() < limit);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace telvora::detail
