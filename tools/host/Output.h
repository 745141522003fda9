#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Mutex.h>

#include <optional>
#include <string>
#include <thread>

namespace telvora::host {

/// The lines out: one JSON object each, on standard output, flushed.
///
/// While a line of the script runs, what other threads have to tell can be kept back until the
/// reply is out, so that the reply comes before the work that the call queued however fast that
/// work is. What the line's own thread has to tell in the meantime comes after what was kept back
/// by then: events stay in the order in which they happened.
///
/// Life: never destroyed, since threads of the library may still tell of something while the
/// process ends.
/// Threads: any.
class Output {
public:
    void writeEvent(const Dictionary& event) TELVORA_EXCLUDES(m_lock);
    void writeReply(const Dictionary& reply) TELVORA_EXCLUDES(m_lock);

    /// Keeps back what threads other than the caller write, from now to the end of its life. One
    /// at a time.
    class Precedence {
    public:
        explicit Precedence(Output& output);
        ~Precedence();

        Precedence(const Precedence&) = delete;
        Precedence& operator=(const Precedence&) = delete;

    private:
        Output& m_output;
    };

    /// Writes what is being kept back, and keeps nothing back any more; for a process that ends in
    /// the middle of a line.
    void writeKeptBack() TELVORA_EXCLUDES(m_lock);

    /// The same where nobody may be waited for. Does without it while somebody else is writing.
    void tryToWriteKeptBack();

private:
    void write(const Dictionary& line, bool isEvent) TELVORA_EXCLUDES(m_lock);

    Mutex m_lock;
    std::optional<std::thread::id> m_speaker TELVORA_GUARDED_BY(m_lock);
    std::string m_keptBack TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::host
