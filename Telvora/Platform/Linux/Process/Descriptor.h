#pragma once

#include <sys/types.h>

namespace telvora::detail {

/// Owns a file descriptor of the library and closes it when it is destroyed.
///
/// Some programs close every descriptor that they did not open themselves; the system then reuses
/// the number for another file. So this class remembers the file's device and inode, and does not
/// close a number that now belongs to another file.
///
/// Threads: a value; one at a time.
class Descriptor {
public:
    /// Takes ownership of `number`; a negative number means no descriptor.
    explicit Descriptor(int number = -1);
    ~Descriptor() { close(); }

    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int number() const { return m_number; }

    /// Whether the number still belongs to the same file.
    bool isOurs() const;

private:
    void close();

    int m_number = -1;
    dev_t m_device = 0;
    ino_t m_inode = 0;
};

} // namespace telvora::detail
