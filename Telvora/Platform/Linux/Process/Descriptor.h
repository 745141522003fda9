#pragma once

#include <sys/types.h>

namespace telvora::detail {

/// A file descriptor of ours, closed with its owner.
///
/// Some programs close every descriptor that they did not open themselves, and then open others
/// under the same numbers. So it remembers what it was given, and neither reads nor closes a
/// number behind which something else lies by now.
///
/// Threads: a value; one at a time.
class Descriptor {
public:
    /// Takes `number` over; a negative one is none.
    explicit Descriptor(int number = -1);
    ~Descriptor() { close(); }

    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int number() const { return m_number; }

    /// Whether the number still stands for what was taken over.
    bool isOurs() const;

private:
    void close();

    int m_number = -1;
    dev_t m_device = 0;
    ino_t m_inode = 0;
};

} // namespace telvora::detail
