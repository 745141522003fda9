#include <tests/Platform/Curl/TLSServer.h>

namespace telvora::detail {

namespace {

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
        elif self.path == "/last":
            self.answer(200, self.path, {})
            self.farewell()
        else:
            self.answer(200, self.path, {})

    def farewell(self):
        self.wfile.flush()
        self.connection.settimeout(0)
        try:
            self.connection.unwrap()
        except ssl.SSLWantReadError:
            pass
        self.close_connection = True

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
    request_queue_size = 4096

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

} // namespace

TLSServer::TLSServer(Wants wants, const std::string& address)
    : m_certificates(address)
    , m_server(program,
          { m_certificates.folder(), wants == Wants::CertifiedClient ? "certified" : "any" })
{
}

std::string TLSServer::url(const std::string& target) const
{
    return "https://127.0.0.1:" + m_server.port() + target;
}

} // namespace telvora::detail
