#pragma once

#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Linux/Process/Descriptor.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

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
        /// Messages were visited; there may be more.
        messages,
        /// Nothing is waiting.
        nothing,
        /// The kernel had to drop messages: what they said must be asked for.
        lost,
        /// The socket is of no more use.
        failed,
    };

    /// Subscribed to the groups of that mask (RTMGRP_...); null when it cannot be opened.
    static std::unique_ptr<NetlinkSocket> open(std::uint32_t groups);

    const Descriptor& descriptor() const { return m_descriptor; }

    /// Reads what is waiting, without waiting itself.
    Reading read(Visitor visit);

    enum class Dump {
        whole,
        /// Objects changed while the kernel wrote them down: one may be missing.
        interrupted,
        /// There was no answer.
        failed,
    };

    /// Asks for all objects of a kind (RTM_GETLINK, RTM_GETROUTE) and visits each; waits for the
    /// kernel's answer, which takes no longer than the kernel needs to write it down. Not for a
    /// subscribed socket.
    Dump dump(std::uint16_t type, std::uint8_t family, Visitor visit);

    /// Visits the messages of one datagram. What is cut off or malformed ends it.
    static void visitMessages(const char* datagram, std::size_t size, Visitor visit);

private:
    explicit NetlinkSocket(Descriptor descriptor);

    bool sendDumpRequest(std::uint16_t type, std::uint8_t family);
    Reading receive(int flags, Visitor visit);

    const Descriptor m_descriptor;
    std::uint32_t m_sequence = 0;
    std::vector<char> m_buffer;
};

} // namespace telvora::detail
