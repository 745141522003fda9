#include <tests/Platform/Curl/HTTP2Server.h>

#include <filesystem>

namespace telvora::detail {

namespace {

constexpr const char* program = R"(
import os, socket, ssl, struct, sys, threading

folder, manner, first, last = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
DATA, HEADERS, RST_STREAM, SETTINGS, PING, GOAWAY = 0, 1, 3, 4, 6, 7
END_STREAM, ACK, END_HEADERS = 1, 1, 4
INTERNAL_ERROR, REFUSED_STREAM = 2, 7

context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(folder + "/server.pem", folder + "/server.key")
context.set_alpn_protocols(["h2"])
lock = threading.Lock()
requests = 0

def note(what):
    with open(folder + "/" + what, "ab") as file:
        file.write(b".")

def count_request():
    global requests
    with lock:
        requests += 1
        note("requests")
        return requests

class Closed(Exception):
    pass

class Connection:
    def __init__(self, stream):
        self.stream = stream
        self.is_silent = False
        self.wanted = {}

    def read(self, size):
        data = b""
        while len(data) < size:
            more = self.stream.recv(size - len(data))
            if not more:
                raise Closed
            data += more
        return data

    def send(self, kind, flags, stream, payload=b""):
        if not self.is_silent:
            self.stream.sendall(struct.pack(">I", len(payload))[1:] + bytes([kind, flags])
                                + struct.pack(">I", stream) + payload)

    def answer(self, stream):
        if not first <= self.wanted[stream] <= last:
            self.send(HEADERS, END_HEADERS, stream, b"\x88")
            self.send(DATA, END_STREAM, stream, b"{}")
        elif manner == "refuse":
            self.send(RST_STREAM, 0, stream, struct.pack(">I", REFUSED_STREAM))
        elif manner == "reset":
            self.send(RST_STREAM, 0, stream, struct.pack(">I", INTERNAL_ERROR))
        elif manner == "goAwayBefore":
            self.send(GOAWAY, 0, 0, struct.pack(">II", stream - 1, 0))
            self.is_silent = True
        elif manner == "goAwayAfter":
            self.send(GOAWAY, 0, 0, struct.pack(">II", stream, 0))
            raise Closed
        else:
            raise Closed

    def serve(self):
        self.read(24)
        self.send(SETTINGS, 0, 0)
        while True:
            head = self.read(9)
            kind, flags = head[3], head[4]
            stream = struct.unpack(">I", head[5:])[0]
            payload = self.read(struct.unpack(">I", b"\0" + head[:3])[0])
            if kind == SETTINGS and not flags & ACK:
                self.send(SETTINGS, ACK, 0)
            if kind == PING and not flags & ACK:
                self.send(PING, ACK, 0, payload)
            if kind == HEADERS:
                self.wanted[stream] = count_request()
            if kind in (HEADERS, DATA) and flags & END_STREAM:
                self.answer(stream)

def serve(connection):
    try:
        stream = context.wrap_socket(connection, server_side=True)
        note("connections")
        Connection(stream).serve()
    except (Closed, OSError):
        pass
    finally:
        connection.close()

listener = socket.create_server(("127.0.0.1", 0), backlog=128)
print(listener.getsockname()[1], flush=True)
threading.Thread(target=lambda: (sys.stdin.read(), os._exit(0)), daemon=True).start()
while True:
    threading.Thread(target=serve, args=(listener.accept()[0],), daemon=True).start()
)";

const char* nameOf(HTTP2Server::Manner manner)
{
    switch (manner) {
    case HTTP2Server::Manner::refuse:
        return "refuse";
    case HTTP2Server::Manner::reset:
        return "reset";
    case HTTP2Server::Manner::goAwayBefore:
        return "goAwayBefore";
    case HTTP2Server::Manner::goAwayAfter:
        return "goAwayAfter";
    case HTTP2Server::Manner::close:
        return "close";
    }
    return "";
}

} // namespace

HTTP2Server::HTTP2Server(Manner manner, std::size_t first, std::size_t last)
    : m_server(program,
        { m_certificates.folder(), nameOf(manner), std::to_string(first), std::to_string(last) })
{
}

std::size_t HTTP2Server::requests() const
{
    return count("requests");
}

std::size_t HTTP2Server::connections() const
{
    return count("connections");
}

// The server adds a byte to a file for each.
std::size_t HTTP2Server::count(const char* what) const
{
    std::error_code error;
    const auto size = std::filesystem::file_size(m_certificates.file(what), error);
    return error ? 0 : size;
}

} // namespace telvora::detail
