#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace telvora::detail {

/// A message of the kernel as bytes.
class NetlinkMessage {
public:
    template<typename Body> NetlinkMessage(std::uint16_t type, const Body& body)
    {
        nlmsghdr header {};
        header.nlmsg_type = type;
        append(&header, sizeof header);
        append(&body, sizeof body);
        pad();
    }

    template<typename Value> NetlinkMessage& with(std::uint16_t type, const Value& value)
    {
        return withBytes(type, { reinterpret_cast<const char*>(&value), sizeof value });
    }

    NetlinkMessage& withBytes(std::uint16_t type, std::string_view bytes)
    {
        rtattr header {};
        header.rta_type = type;
        header.rta_len = static_cast<unsigned short>(RTA_LENGTH(bytes.size()));
        append(&header, sizeof header);
        append(bytes.data(), bytes.size());
        pad();
        return *this;
    }

    /// As an answer to the request of that number.
    NetlinkMessage& to(std::uint32_t sequence, std::uint16_t flags = 0)
    {
        std::memcpy(m_bytes.data() + offsetof(nlmsghdr, nlmsg_seq), &sequence, sizeof sequence);
        std::memcpy(m_bytes.data() + offsetof(nlmsghdr, nlmsg_flags), &flags, sizeof flags);
        return *this;
    }

    /// With its length filled in.
    std::string bytes() const
    {
        std::string whole = m_bytes;
        const auto length = static_cast<std::uint32_t>(whole.size());
        std::memcpy(whole.data() + offsetof(nlmsghdr, nlmsg_len), &length, sizeof length);
        return whole;
    }

private:
    void append(const void* data, std::size_t size)
    {
        m_bytes.append(static_cast<const char*>(data), size);
    }
    void pad() { m_bytes.resize(NLMSG_ALIGN(m_bytes.size())); }

    std::string m_bytes;
};

inline NetlinkMessage linkMessage(int index, std::string_view name, unsigned flags,
    unsigned short hardware = 1, std::uint16_t type = RTM_NEWLINK)
{
    ifinfomsg body {};
    body.ifi_family = AF_UNSPEC;
    body.ifi_index = index;
    body.ifi_flags = flags;
    body.ifi_type = hardware;
    return NetlinkMessage(type, body).withBytes(IFLA_IFNAME, std::string(name) + '\0');
}

inline NetlinkMessage defaultRouteMessage(
    int link, std::uint32_t metric = 0, unsigned char family = AF_INET)
{
    rtmsg body {};
    body.rtm_family = family;
    body.rtm_table = RT_TABLE_MAIN;
    body.rtm_type = RTN_UNICAST;
    return NetlinkMessage(RTM_NEWROUTE, body).with(RTA_OIF, link).with(RTA_PRIORITY, metric);
}

} // namespace telvora::detail
