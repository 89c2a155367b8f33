#include "foundation/utilities/ORVNetUtil.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>

namespace {

/// An IPv6 address; an IPv4 one is kept in its mapped form, so that both spellings are equal.
using Address = std::array<unsigned char, 16>;

constexpr Address mappedPrefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr std::size_t ipv4Offset = 12;

Address addressOf(const in_addr& ipv4) {
    Address address = mappedPrefix;
    std::memcpy(&address[ipv4Offset], &ipv4, sizeof ipv4);
    return address;
}

Address addressOf(const in6_addr& ipv6) {
    Address address;
    std::memcpy(address.data(), &ipv6, sizeof ipv6);
    return address;
}

std::optional<Address> addressOf(const sockaddr* socketAddress) {
    if (socketAddress && socketAddress->sa_family == AF_INET) {
        return addressOf(reinterpret_cast<const sockaddr_in*>(socketAddress)->sin_addr);
    }
    if (socketAddress && socketAddress->sa_family == AF_INET6) {
        return addressOf(reinterpret_cast<const sockaddr_in6*>(socketAddress)->sin6_addr);
    }
    return std::nullopt;
}

/// The address that `text` spells out: IPv4, or IPv6 with or without brackets and scope.
std::optional<Address> parseLiteral(std::string_view text) {
    if (text.size() > 1 && text.front() == '[' && text.back() == ']') {
        text = text.substr(1, text.size() - 2);
    }
    in_addr ipv4;
    if (inet_pton(AF_INET, std::string(text).c_str(), &ipv4) == 1) {
        return addressOf(ipv4);
    }
    in6_addr ipv6;
    if (inet_pton(AF_INET6, std::string(text.substr(0, text.find('%'))).c_str(), &ipv6) == 1) {
        return addressOf(ipv6);
    }
    return std::nullopt;
}

bool isLoopBack(const Address& address) {
    constexpr Address loopBack{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    // A connection to the unspecified address goes to this machine.
    constexpr Address unspecified{};
    if (std::equal(address.begin(), address.begin() + ipv4Offset, mappedPrefix.begin())) {
        return address[ipv4Offset] == 127 ||
               std::equal(address.begin() + ipv4Offset, address.end(), unspecified.begin() + ipv4Offset);
    }
    return address == loopBack || address == unspecified;
}

bool isOfAnInterface(const Address& address) {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return false;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> interfaces(first, &freeifaddrs);
    for (const ifaddrs* entry = first; entry; entry = entry->ifa_next) {
        if (addressOf(entry->ifa_addr) == address) {
            return true;
        }
    }
    return false;
}

bool isLocal(const Address& address) {
    return isLoopBack(address) || isOfAnInterface(address);
}

bool resolvesToLocalOnly(const char* name, int addressFamily) {
    addrinfo hints{};
    hints.ai_family = addressFamily == 0 ? AF_UNSPEC : addressFamily;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* first = nullptr;
    if (getaddrinfo(name, nullptr, &hints, &first) != 0) {
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(first, &freeaddrinfo);
    for (const addrinfo* entry = first; entry; entry = entry->ai_next) {
        const std::optional<Address> address = addressOf(entry->ai_addr);
        if (!address || !isLocal(*address)) {
            return false;
        }
    }
    return first != nullptr;
}

}  // namespace

bool ORVNetUtil::isLoopBackAddress(const ORVString& host, int addressFamily) {
    const std::string_view text = host.view();
    if (text.empty() || text.find('\0') != std::string_view::npos) {
        return false;
    }
    const std::optional<Address> literal = parseLiteral(text);
    return literal ? isLocal(*literal) : resolvesToLocalOnly(host.data(), addressFamily);
}
