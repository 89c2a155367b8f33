#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

/// What rtnetlink(7) says of links and addresses.
namespace velm::network_links {

/// A network interface.
struct Link {
    int index;
    /// As the kernel gives it: any bytes but white space, '/' and ':'.
    std::string name;
    /// Speaks Ethernet; the loopback interface, tunnels and the like do not.
    bool isEthernet = false;
    bool isEnabled = false;
    bool isRunning = false;
    /// IF_OPER_UP and so on (RFC 2863).
    std::uint8_t operationalState = 0;
    std::uint32_t mtu = 0;
    /// 0 where the driver names none.
    std::uint32_t maxMtu = 0;
    /// Bytes; empty where there is none.
    std::string address{};
    std::string permanentAddress{};
};

/// What tells an address from all others.
struct AddressKey {
    int link;
    /// AF_INET or AF_INET6.
    int family;
    /// 4 or 16 bytes.
    std::string local;
    /// The other end of a point-to-point link; empty where there is none.
    std::string peer;
    std::uint8_t prefixLength;

    auto operator<=>(const AddressKey&) const = default;
};

struct Address {
    AddressKey key;
    /// IFA_F_TENTATIVE and so on.
    std::uint32_t flags = 0;
};

struct LinkGone {
    int index;
};

struct AddressGone {
    AddressKey key;
};

/// The answer to a request is complete; `error` is 0, or says why there is none.
struct AnswerEnd {
    int error;
};

using RouteEvent = std::variant<Link, LinkGone, Address, AddressGone, AnswerEnd>;

struct RouteMessages {
    std::vector<RouteEvent> events;
    /// False when messages were malformed, cut or lost; `events` holds those before.
    bool isComplete = true;
    /// What is listed changed while the kernel listed it.
    bool isInterrupted = false;
};

/// Reads one datagram of an rtnetlink socket. Messages about anything else are left out. Any bytes may come
/// in; nothing is thrown but std::bad_alloc.
RouteMessages readRouteMessages(std::span<const std::byte> datagram);

}  // namespace velm::network_links
