#include "providers/network_links/RouteMessages.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <net/if.h>
#include <net/if_arp.h>
#include <optional>
#include <sys/socket.h>

#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>

namespace velm::network_links {

namespace {

using Bytes = std::span<const std::byte>;
using Attributes = std::map<unsigned int, Bytes>;

constexpr std::size_t attributeHeader = sizeof(rtattr);

template <class T>
std::optional<T> readAs(Bytes bytes) {
    if (bytes.size() < sizeof(T)) {
        return std::nullopt;
    }
    T value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

Bytes behind(Bytes bytes, std::size_t length) {
    return bytes.subspan(std::min(length, bytes.size()));
}

/// The attributes behind a header of type T; nothing when they are malformed.
template <class T>
std::optional<Attributes> attributesBehind(Bytes payload) {
    Attributes attributes;
    Bytes rest = behind(payload, NLMSG_ALIGN(sizeof(T)));
    while (const auto header = readAs<rtattr>(rest)) {
        if (header->rta_len < attributeHeader || header->rta_len > rest.size()) {
            return std::nullopt;
        }
        const unsigned int type = header->rta_type & NLA_TYPE_MASK;
        attributes[type] = rest.subspan(attributeHeader, header->rta_len - attributeHeader);
        rest = behind(rest, RTA_ALIGN(header->rta_len));
    }
    return attributes;
}

std::string textOf(const Attributes& attributes, unsigned int type) {
    const auto found = attributes.find(type);
    if (found == attributes.end()) {
        return {};
    }
    return {reinterpret_cast<const char*>(found->second.data()), found->second.size()};
}

template <class T>
T numberOf(const Attributes& attributes, unsigned int type, T otherwise) {
    const auto found = attributes.find(type);
    return found == attributes.end() ? otherwise : readAs<T>(found->second).value_or(otherwise);
}

bool readLink(Bytes payload, bool isGone, std::vector<RouteEvent>& events) {
    const auto header = readAs<ifinfomsg>(payload);
    const auto attributes = attributesBehind<ifinfomsg>(payload);
    if (!header || !attributes) {
        return false;
    }
    // Bridges tell of their ports in the same words: such a "gone" link has only left its bridge.
    if (header->ifi_family != AF_UNSPEC) {
        return true;
    }
    if (isGone) {
        events.emplace_back(LinkGone{header->ifi_index});
        return true;
    }
    Link link{.index = header->ifi_index, .name = textOf(*attributes, IFLA_IFNAME)};
    link.name.resize(std::min(link.name.size(), link.name.find('\0')));
    if (link.name.empty()) {
        return true;  // Wireless drivers tell of their own affairs so.
    }
    link.isEthernet = header->ifi_type == ARPHRD_ETHER;
    link.isEnabled = (header->ifi_flags & IFF_UP) != 0;
    link.isRunning = (header->ifi_flags & IFF_RUNNING) != 0;
    link.operationalState = numberOf<std::uint8_t>(*attributes, IFLA_OPERSTATE, 0);
    link.mtu = numberOf<std::uint32_t>(*attributes, IFLA_MTU, 0);
    link.maxMtu = numberOf<std::uint32_t>(*attributes, IFLA_MAX_MTU, 0);
    link.address = textOf(*attributes, IFLA_ADDRESS);
    link.permanentAddress = textOf(*attributes, IFLA_PERM_ADDRESS);
    events.emplace_back(std::move(link));
    return true;
}

std::size_t addressLength(int family) {
    return family == AF_INET ? 4 : 16;
}

bool readAddress(Bytes payload, bool isGone, std::vector<RouteEvent>& events) {
    const auto header = readAs<ifaddrmsg>(payload);
    const auto attributes = attributesBehind<ifaddrmsg>(payload);
    if (!header || !attributes) {
        return false;
    }
    const int family = header->ifa_family;
    if (family != AF_INET && family != AF_INET6) {
        return true;
    }
    const std::string address = textOf(*attributes, IFA_ADDRESS);
    std::string local = textOf(*attributes, IFA_LOCAL);
    std::string peer = local.empty() || local == address ? std::string() : address;
    local = local.empty() ? address : local;
    const std::size_t length = addressLength(family);
    if (local.size() != length || (!peer.empty() && peer.size() != length) ||
        header->ifa_prefixlen > length * 8) {
        return false;
    }
    const AddressKey key{static_cast<int>(header->ifa_index), family, local, peer, header->ifa_prefixlen};
    if (isGone) {
        events.emplace_back(AddressGone{key});
    } else {
        events.emplace_back(Address{key, numberOf<std::uint32_t>(*attributes, IFA_FLAGS, header->ifa_flags)});
    }
    return true;
}

/// Answers false when the message is malformed, or says that others are missing.
bool readMessage(unsigned int type, Bytes payload, std::vector<RouteEvent>& events) {
    switch (type) {
        case RTM_NEWLINK:
        case RTM_DELLINK:
            return readLink(payload, type == RTM_DELLINK, events);
        case RTM_NEWADDR:
        case RTM_DELADDR:
            return readAddress(payload, type == RTM_DELADDR, events);
        case NLMSG_DONE:
        case NLMSG_ERROR: {
            const int error = readAs<int>(payload).value_or(0);
            events.emplace_back(AnswerEnd{error < 0 ? -error : 0});
            return true;
        }
        default:
            return type != NLMSG_OVERRUN;
    }
}

}  // namespace

RouteMessages readRouteMessages(std::span<const std::byte> datagram) {
    RouteMessages messages;
    while (!datagram.empty() && messages.isComplete) {
        const auto header = readAs<nlmsghdr>(datagram);
        if (!header || header->nlmsg_len < sizeof(nlmsghdr) || header->nlmsg_len > datagram.size()) {
            messages.isComplete = false;
            break;
        }
        messages.isInterrupted |= (header->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
        const Bytes payload = datagram.subspan(sizeof(nlmsghdr), header->nlmsg_len - sizeof(nlmsghdr));
        messages.isComplete = readMessage(header->nlmsg_type, payload, messages.events);
        datagram = behind(datagram, NLMSG_ALIGN(header->nlmsg_len));
    }
    return messages;
}

}  // namespace velm::network_links
