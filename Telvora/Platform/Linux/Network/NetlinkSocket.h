#pragma once

#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Linux/Process/Descriptor.h>

#include <cstddef>
#include <cstdint>
#include <memory>

struct nlmsghdr;

namespace telvora::detail {

/// A socket to the kernel's routing messages (NETLINK_ROUTE), in the network namespace of the
/// thread that opened it.
///
/// Threads: one at a time.
class NetlinkSocket {
public:
    using Visitor = FunctionRef<void(const nlmsghdr&)>;

    enum class Reading {
        /// Messages were visited; more may be waiting.
        messages,
        /// No message was waiting.
        nothing,
        /// The kernel dropped messages, so the state must be read anew.
        lost,
        /// The socket no longer works.
        failed,
    };

    /// A socket subscribed to the groups of that mask (RTMGRP_...); null when it cannot be opened.
    static std::unique_ptr<NetlinkSocket> open(std::uint32_t groups);

    /// Takes an open socket, from which it reads such messages.
    explicit NetlinkSocket(Descriptor descriptor);

    const Descriptor& descriptor() const { return m_descriptor; }

    /// Visits the messages of one datagram if one is waiting. Does not wait.
    Reading read(Visitor visit);

    enum class Dump {
        whole,
        /// Objects changed while the kernel listed them: one may be missing.
        interrupted,
        /// The kernel did not answer.
        failed,
    };

    /// Asks for all objects of a kind (RTM_GETLINK, RTM_GETROUTE) of every address family, waits
    /// for the kernel's answer, which takes only as long as the kernel needs to write it, and
    /// visits each object. Must not be called on a subscribed socket.
    Dump dump(std::uint16_t type, Visitor visit);

    /// Visits the messages of one datagram, up to the first one that is cut off or malformed.
    static void visitMessages(const char* datagram, std::size_t size, Visitor visit);

private:
    bool sendDumpRequest(std::uint16_t type);
    Reading receive(int flags, Visitor visit);

    const Descriptor m_descriptor;
    std::uint32_t m_sequence = 0;
    // Made for the first datagram.
    std::unique_ptr<char[]> m_buffer;
};

} // namespace telvora::detail
