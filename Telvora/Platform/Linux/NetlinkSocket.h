#pragma once

#include <Telvora/Base/Work.h>

#include <cstdint>
#include <memory>
#include <vector>

struct nlmsghdr;

namespace telvora {

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

    ~NetlinkSocket();
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;

    int descriptor() const { return m_descriptor; }

    /// Reads what is waiting, without waiting itself.
    Reading read(Visitor visit);

    /// Asks for all objects of a kind (RTM_GETLINK, RTM_GETROUTE) and visits each; waits for the
    /// kernel's answer, which takes no longer than the kernel needs to write it down. False when
    /// there was no answer or objects changed while it was being written. Not for a subscribed
    /// socket.
    bool dump(std::uint16_t type, std::uint8_t family, Visitor visit);

private:
    explicit NetlinkSocket(int descriptor);

    bool sendDumpRequest(std::uint16_t type, std::uint8_t family);
    Reading receive(int flags, Visitor visit);

    int m_descriptor;
    std::uint32_t m_sequence = 0;
    std::vector<char> m_buffer;
};

} // namespace telvora
