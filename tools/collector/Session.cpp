#include <tools/collector/Session.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/error.hpp>

namespace telvora::collector {
namespace {

namespace http = boost::beast::http;

// After this many reads the other connections get their turn.
constexpr int readsPerTurn = 16;

std::uint64_t nextConnectionNumber()
{
    static std::uint64_t s_number = 0;
    return ++s_number;
}

} // namespace

Session::Session(Server& server, Socket socket, Server::Port port)
    : Connection(server)
    , m_socket(std::move(socket))
    , m_port(port)
    , m_number(nextConnectionNumber())
{
}

Session::~Session()
{
    settle(Outcome::undelivered);
    releaseHeldBytes();
}

void Session::start(std::string received)
{
    m_received = std::move(received);
    deadline = SteadyClock::now() + server().collector().options().idle;
    processInput();
}

void Session::drop()
{
    if (m_state == State::reading && (m_parser || !m_received.empty()))
        server().collector().store().noteIncomplete();
    close();
}

void Session::close()
{
    settle(Outcome::undelivered);
    releaseHeldBytes();
    m_state = State::closed;
    deadline = SteadyClock::time_point::max();
    if (m_timer)
        m_timer->cancel();
    ErrorCode ignored;
    m_socket.close(ignored);
}

void Session::armRead()
{
    if (m_isReadPending || m_isPeerDone || m_state == State::closed)
        return;
    m_isReadPending = true;
    m_socket.async_read_some(
        asio::buffer(m_buffer), [self = shared_from_this()](ErrorCode error, std::size_t size) {
            self->m_isReadPending = false;
            self->onRead(error, size);
        });
}

void Session::onRead(ErrorCode error, std::size_t size)
{
    if (m_state == State::closed)
        return;
    if (error) {
        onPeerEnded();
        return;
    }
    if (m_state == State::lingering) {
        armRead();
        return;
    }
    m_received.append(m_buffer.data(), size);
    if (m_state == State::reading)
        processInput();
}

void Session::onPeerEnded()
{
    m_isPeerDone = true;
    switch (m_state) {
    case State::reading:
        drop();
        break;
    case State::holding:
    case State::lingering:
        close();
        break;
    case State::writing:
    case State::closed:
        // The other side may have closed only its half. If it is gone, the write fails.
        break;
    }
}

// Reads, parses and answers until no more data is there or an answer has to wait.
void Session::processInput()
{
    for (int reads = 0; m_state == State::reading;) {
        if (!m_received.empty()) {
            const std::string data = std::move(m_received);
            m_received.clear();
            const std::size_t used = feed(data);
            m_received.insert(0, data, used);
            if (m_state != State::reading || (used > 0 && !m_received.empty()))
                continue;
        }
        if (m_isPeerDone) {
            onPeerEnded();
        } else if (++reads > readsPerTurn || !readIntoScratch()) {
            armRead();
            return;
        }
    }
    if (m_state == State::holding || m_state == State::lingering)
        armRead();
}

// Reads once without waiting. False where no data was there.
bool Session::readIntoScratch()
{
    if (m_isReadPending)
        return false;
    auto& scratch = server().scratch();
    ErrorCode error;
    const std::size_t size = m_socket.read_some(asio::buffer(scratch), error);
    if (error == asio::error::would_block)
        return false;
    if (error) {
        m_isPeerDone = true;
        return true;
    }
    const std::string_view data(scratch.data(), size);
    if (!m_received.empty()) {
        m_received.append(data);
        return true;
    }
    m_received.assign(data.substr(feed(data)));
    return true;
}

// Parses `data` up to the end of one request and handles the request once it is whole. Returns
// how many bytes were used.
std::size_t Session::feed(std::string_view data)
{
    const Options& options = server().collector().options();
    if (!m_parser) {
        m_parser.emplace(options.maximumBody);
        m_isContinueSent = false;
        // This deadline is for the whole head; within the body every read extends it.
        deadline = SteadyClock::now() + options.slow;
    }
    std::size_t used = 0;
    while (used < data.size() && !m_parser->is_done()) {
        ErrorCode error;
        const std::size_t taken
            = m_parser->put(asio::buffer(data.data() + used, data.size() - used), error);
        used += taken;
        if (error && error != http::error::need_more) {
            const bool isTooLong = error == http::error::body_limit;
            refuse(isTooLong                             ? 413
                    : error == http::error::header_limit ? 431
                                                         : 400,
                isTooLong ? "body too long" : "malformed request");
            return data.size();
        }
        if (error || taken == 0)
            break;
    }
    noteProgress();
    if (m_state == State::reading && m_parser->is_done())
        handle();
    return used;
}

void Session::noteProgress()
{
    if (!m_parser->is_header_done())
        return;
    deadline = SteadyClock::now() + server().collector().options().slow;
    const std::size_t before = m_heldBytes;
    m_heldBytes = m_parser->bodySize();
    if (!server().changeHeldBytes(before, m_heldBytes)) {
        refuse(503, "no room for the body");
        return;
    }
    if (m_parser->wantsContinue() && !m_isContinueSent && !m_parser->is_done()) {
        m_isContinueSent = true;
        // The send buffer has room for these few bytes.
        ErrorCode ignored;
        m_socket.write_some(
            asio::buffer(std::string_view("HTTP/1.1 100 Continue\r\n\r\n")), ignored);
    }
}

void Session::refuse(int status, const char* why)
{
    server().collector().noteMalformed(status, why);
    releaseHeldBytes();
    m_parser.reset();
    m_received.clear();
    perform(plainAnswer(status, std::string(R"({"error":")") + why + "\"}", false));
}

void Session::handle()
{
    Request request;
    request.connection = m_number;
    request.method = m_parser->method();
    request.target = m_parser->target();
    request.headers = m_parser->takeHeaders();
    request.body = m_parser->takeBody();
    const bool keepAlive = m_parser->keep_alive();
    m_parser.reset();

    const bool isControl = request.target.starts_with(controlPrefix);
    if (!isControl && m_port == Server::Port::control) {
        perform(plainAnswer(404, R"({"error":"only /_telvora/ is served here"})", keepAlive));
        return;
    }
    if (!isControl) {
        auto [answer, ticket] = server().collector().receive(std::move(request), keepAlive);
        m_ticket = std::move(ticket);
        perform(std::move(answer));
        return;
    }
    const ControlReply reply
        = serveControl(server().collector(), request.method, request.target, request.body);
    m_answer.after = keepAlive ? AfterAnswer::keepOpen : AfterAnswer::close;
    if (reply.wait)
        wait(*reply.wait);
    else
        perform(plainAnswer(reply.status, reply.body, keepAlive, reply.contentType));
}

void Session::wait(const WaitCondition& condition)
{
    m_wait = condition;
    holdFor(condition.timeout, &Session::endWait);
    server().addWaiter([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || !self->m_wait)
            return true;
        if (!self->m_wait->isMet(self->server().collector()))
            return false;
        self->endWait();
        self->processInput();
        return true;
    });
}

void Session::endWait()
{
    if (!m_wait || m_state != State::holding)
        return;
    m_timer->cancel();
    const ControlReply reply = endedWait(server().collector(), *m_wait);
    m_wait.reset();
    const bool keepAlive = m_answer.after == AfterAnswer::keepOpen;
    perform(plainAnswer(reply.status, reply.body, keepAlive));
}

} // namespace telvora::collector
