#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Mutex.h>

#include <optional>
#include <string>
#include <thread>

namespace telvora::host {

/// Writes the output lines: one JSON object each, to standard output, flushed.
///
/// While a line of the script runs, the lines of other threads can be kept back until its reply is
/// written, so that the reply always comes before the events of the work that the line queued. When
/// the line's own thread writes an event, the lines kept back so far are written first: events stay
/// in the order in which they happened.
///
/// Life: never destroyed, because threads of the library may still write while the process ends.
/// Threads: any.
class Output {
public:
    void writeEvent(const Dictionary& event) TELVORA_EXCLUDES(m_lock);
    void writeReply(const Dictionary& reply) TELVORA_EXCLUDES(m_lock);

    /// While it lives, keeps back the lines of all threads but the one that made it. There is at
    /// most one at a time.
    class Precedence {
    public:
        explicit Precedence(Output& output);
        ~Precedence();

        Precedence(const Precedence&) = delete;
        Precedence& operator=(const Precedence&) = delete;

    private:
        Output& m_output;
    };

    // Writes the lines kept back and stops keeping lines back; for a process that ends in the
    // middle of a line.
    void writeKeptBack() TELVORA_EXCLUDES(m_lock);

    // Writes the lines kept back, for a signal handler: never waits, and does nothing while another
    // thread is writing.
    void tryToWriteKeptBack();

private:
    void write(const Dictionary& line, bool isEvent) TELVORA_EXCLUDES(m_lock);

    detail::Mutex m_lock;
    std::optional<std::thread::id> m_lineThread TELVORA_GUARDED_BY(m_lock);
    std::string m_keptBack TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::host
