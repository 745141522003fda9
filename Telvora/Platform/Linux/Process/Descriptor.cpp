#include <Telvora/Platform/Linux/Process/Descriptor.h>

#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace telvora::detail {

Descriptor::Descriptor(int number)
    : m_number(number)
{
    struct stat status;
    if (m_number >= 0 && ::fstat(m_number, &status) == 0) {
        m_device = status.st_dev;
        m_inode = status.st_ino;
    }
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : m_number(std::exchange(other.m_number, -1))
    , m_device(other.m_device)
    , m_inode(other.m_inode)
{
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        close();
        m_number = std::exchange(other.m_number, -1);
        m_device = other.m_device;
        m_inode = other.m_inode;
    }
    return *this;
}

bool Descriptor::isOurs() const
{
    struct stat status;
    return m_number >= 0 && ::fstat(m_number, &status) == 0 && status.st_dev == m_device
        && status.st_ino == m_inode;
}

void Descriptor::close()
{
    if (isOurs())
        ::close(m_number);
    m_number = -1;
}

} // namespace telvora::detail
