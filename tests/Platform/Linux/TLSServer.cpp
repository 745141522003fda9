#include <tests/Platform/Linux/TLSServer.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace telvora {

namespace {

// Ends with its standard input, however its maker ends.
constexpr const char* program = R"(
import http.server, os, ssl, sys, threading

folder, wants = sys.argv[1:]
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(folder + "/server.pem", folder + "/server.key")
if wants == "certified":
    context.verify_mode = ssl.CERT_REQUIRED
    context.load_verify_locations(folder + "/authority.pem")

class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    # An answer in one piece, which no delayed acknowledgement holds back.
    wbufsize = -1

    def setup(self):
        self.request.do_handshake()
        super().setup()

    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        if self.path.startswith("/to/"):
            status, _, target = self.path[len("/to/"):].partition("?")
            self.answer(int(status), "", {"Location": target})
        elif self.path == "/headers":
            self.answer(200, "\n".join(self.headers.keys()), {})
        else:
            self.answer(200, self.path, {})

    def answer(self, status, body, headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body.encode())

    def log_message(self, *_):
        pass

class Server(http.server.ThreadingHTTPServer):
    request_queue_size = 128

    def get_request(self):
        connection, address = super().get_request()
        return context.wrap_socket(
            connection, server_side=True, do_handshake_on_connect=False), address

    def handle_error(self, *_):
        pass

server = Server(("127.0.0.1", 0), Handler)
print(server.server_address[1], flush=True)
threading.Thread(target=lambda: (sys.stdin.read(), os._exit(0)), daemon=True).start()
server.serve_forever()
)";

void run(const std::string& command)
{
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        std::abort();
    }
}

} // namespace

TLSServer::TLSServer(Wants wants, const std::string& address)
{
    std::string folder = std::filesystem::temp_directory_path() / "telvora-tls-XXXXXX";
    if (!mkdtemp(folder.data()))
        std::abort();
    m_folder = folder;
    makeCertificates(address);
    start(wants);
}

TLSServer::~TLSServer()
{
    close(m_lifeline);
    waitpid(m_process, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

std::string TLSServer::url(const std::string& target) const
{
    return "https://127.0.0.1:" + m_port + target;
}

void TLSServer::makeCertificates(const std::string& address)
{
    std::string make = "cd " + m_folder
        + " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2";
    std::string quietly = " >openssl.log 2>&1";
    std::string signedBy = " -CA authority.pem -CAkey authority.key"
                           " -addext basicConstraints=critical,CA:FALSE";
    run(make + " -keyout authority.key -out authority.pem -subj /CN=Authority" + quietly);
    run(make + signedBy + " -keyout server.key -out server.pem -subj /CN=Server"
        + " -addext subjectAltName=IP:" + address + quietly);
    run(make + signedBy + " -keyout client.key -out client.pem -subj /CN=Client" + quietly);
}

void TLSServer::start(Wants wants)
{
    int lifeline[2];
    int output[2];
    if (pipe2(lifeline, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0)
        std::abort();
    m_process = fork();
    if (m_process == 0) {
        dup2(lifeline[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        execl("/usr/bin/python3", "python3", "-c", program, m_folder.c_str(),
            wants == Wants::CertifiedClient ? "certified" : "any", nullptr);
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

} // namespace telvora
