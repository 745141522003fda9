#include <tools/collector/Session.h>

#include <boost/asio/buffer.hpp>

#include <algorithm>

namespace telvora::collector {
namespace {

// How long the client may leave an answer unread.
constexpr std::chrono::seconds longestWrite { 60 };
// How long input is discarded after the last answer: closing a socket with unread input resets the
// connection, and the client may lose the answer.
constexpr std::chrono::seconds longestLinger { 5 };

} // namespace

void Session::perform(Answer answer)
{
    m_answer = std::move(answer);
    m_sent = 0;
    if (m_answer.isNever) {
        m_state = State::holding;
        deadline = SteadyClock::time_point::max();
    } else if (m_answer.delay.count() > 0) {
        holdFor(m_answer.delay, &Session::send);
    } else {
        send();
    }
}

void Session::holdFor(std::chrono::milliseconds time, void (Session::*then)())
{
    m_state = State::holding;
    deadline = SteadyClock::time_point::max();
    if (!m_timer)
        m_timer.emplace(server().context());
    m_timer->expires_after(time);
    m_timer->async_wait([self = shared_from_this(), then](ErrorCode error) {
        if (error || self->m_state != State::holding)
            return;
        (self.get()->*then)();
        self->processInput();
    });
}

// Sends the rest of the answer, as far as the socket and the drip allow.
void Session::send()
{
    m_state = State::writing;
    deadline = SteadyClock::now() + longestWrite;
    while (m_sent < m_answer.bytes.size()) {
        const std::size_t left = m_answer.bytes.size() - m_sent;
        const std::size_t piece = m_answer.drip ? std::min(left, m_answer.drip->bytes) : left;
        ErrorCode error;
        const std::size_t size
            = m_socket.write_some(asio::buffer(m_answer.bytes.data() + m_sent, piece), error);
        if (error == asio::error::would_block) {
            m_socket.async_wait(Socket::wait_write, [self = shared_from_this()](ErrorCode failure) {
                if (failure || self->m_state != State::writing)
                    return;
                self->send();
                self->processInput();
            });
            return;
        }
        if (error) {
            close();
            return;
        }
        m_sent += size;
        if (m_ticket)
            m_ticket->request->hasAnswerBegun = true;
        if (m_answer.drip && m_sent < m_answer.bytes.size()) {
            holdFor(m_answer.drip->every, &Session::send);
            return;
        }
    }
    finishAnswer();
}

void Session::finishAnswer()
{
    settle(m_answer.outcome);
    releaseHeldBytes();
    switch (m_answer.after) {
    case AfterAnswer::keepOpen:
        m_state = State::reading;
        m_answer.bytes = {};
        deadline = SteadyClock::now() + server().collector().options().idle;
        break;
    case AfterAnswer::close:
        linger();
        break;
    case AfterAnswer::reset:
        resetSocket(m_socket);
        close();
        break;
    }
}

void Session::settle(Outcome outcome)
{
    if (!m_ticket)
        return;
    server().collector().settle(*m_ticket, outcome);
    m_ticket.reset();
}

void Session::releaseHeldBytes()
{
    server().changeHeldBytes(m_heldBytes, 0);
    m_heldBytes = 0;
}

void Session::linger()
{
    if (m_isPeerDone) {
        close();
        return;
    }
    m_state = State::lingering;
    deadline = SteadyClock::now() + longestLinger;
    ErrorCode ignored;
    m_socket.shutdown(Socket::shutdown_send, ignored);
}

} // namespace telvora::collector
