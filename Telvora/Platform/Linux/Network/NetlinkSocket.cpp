#include <Telvora/Platform/Linux/Network/NetlinkSocket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace telvora::detail {

namespace {

/// The kernel never writes more than this into one datagram.
constexpr std::size_t bufferBytes = 32 * 1024;

} // namespace

std::unique_ptr<NetlinkSocket> NetlinkSocket::open(std::uint32_t groups)
{
    Descriptor descriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (descriptor.number() < 0)
        return nullptr;

    sockaddr_nl address {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    const auto* plain = reinterpret_cast<const sockaddr*>(&address);
    if (::bind(descriptor.number(), plain, sizeof address) != 0)
        return nullptr;

    // The kernel answers within the request's call, so this time limit only guards against a
    // defect.
    const timeval limit { 1, 0 };
    ::setsockopt(descriptor.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return std::make_unique<NetlinkSocket>(std::move(descriptor));
}

NetlinkSocket::NetlinkSocket(Descriptor descriptor)
    : m_descriptor(std::move(descriptor))
{
}

NetlinkSocket::Reading NetlinkSocket::read(Visitor visit)
{
    return receive(MSG_DONTWAIT, visit);
}

NetlinkSocket::Dump NetlinkSocket::dump(std::uint16_t type, Visitor visit)
{
    if (!sendDumpRequest(type))
        return Dump::failed;

    bool isDone = false;
    Dump result = Dump::whole;
    while (!isDone) {
        const Reading reading = receive(0, [&](const nlmsghdr& message) {
            // An answer to an earlier, abandoned request may come first.
            if (isDone || message.nlmsg_seq != m_sequence)
                return;
            if (message.nlmsg_flags & NLM_F_DUMP_INTR)
                result = Dump::interrupted;
            isDone = message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR;
            if (message.nlmsg_type == NLMSG_ERROR)
                result = Dump::failed;
            if (!isDone)
                visit(message);
        });
        if (reading != Reading::messages)
            return Dump::failed;
    }
    return result;
}

bool NetlinkSocket::sendDumpRequest(std::uint16_t type)
{
    struct Request {
        nlmsghdr header;
        // The longest of the headers that the kinds of request begin with.
        ifinfomsg body;
        // Links are listed without their counters, which are most of the text.
        rtattr attribute;
        std::uint32_t filter;
    };
    static_assert(sizeof(ifinfomsg) >= sizeof(rtmsg));

    Request request {};
    const bool isForLinks = type == RTM_GETLINK;
    request.header.nlmsg_len = isForLinks ? sizeof request : NLMSG_LENGTH(sizeof request.body);
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = ++m_sequence;
    request.body.ifi_family = AF_UNSPEC;
    request.attribute.rta_type = IFLA_EXT_MASK;
    request.attribute.rta_len = RTA_LENGTH(sizeof request.filter);
    request.filter = RTEXT_FILTER_SKIP_STATS;

    sockaddr_nl kernel {};
    kernel.nl_family = AF_NETLINK;
    ssize_t count = 0;
    do {
        count = ::sendto(m_descriptor.number(), &request, request.header.nlmsg_len, MSG_NOSIGNAL,
            reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
    } while (count < 0 && errno == EINTR);
    return count == static_cast<ssize_t>(request.header.nlmsg_len);
}

NetlinkSocket::Reading NetlinkSocket::receive(int flags, Visitor visit)
{
    // Not filled with zeros: few answers need more than its first pages.
    if (!m_buffer)
        m_buffer = std::make_unique_for_overwrite<char[]>(bufferBytes);
    sockaddr_nl sender {};
    iovec piece { m_buffer.get(), bufferBytes };
    msghdr envelope {};
    envelope.msg_name = &sender;
    envelope.msg_namelen = sizeof sender;
    envelope.msg_iov = &piece;
    envelope.msg_iovlen = 1;

    ssize_t count = 0;
    do {
        count = ::recvmsg(m_descriptor.number(), &envelope, flags);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        if (errno == ENOBUFS)
            return Reading::lost;
        return errno == EAGAIN || errno == EWOULDBLOCK ? Reading::nothing : Reading::failed;
    }
    if (count == 0)
        return Reading::failed;
    if (envelope.msg_flags & MSG_TRUNC)
        return Reading::lost;
    // Other processes may write to this socket; only the kernel's messages are accepted.
    if (sender.nl_pid != 0)
        return Reading::messages;

    visitMessages(m_buffer.get(), static_cast<std::size_t>(count), visit);
    return Reading::messages;
}

void NetlinkSocket::visitMessages(const char* datagram, std::size_t size, Visitor visit)
{
    while (size >= sizeof(nlmsghdr)) {
        const auto* message = reinterpret_cast<const nlmsghdr*>(datagram);
        if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > size)
            return;
        visit(*message);
        const std::size_t step = std::min<std::size_t>(NLMSG_ALIGN(message->nlmsg_len), size);
        datagram += step;
        size -= step;
    }
}

} // namespace telvora::detail
