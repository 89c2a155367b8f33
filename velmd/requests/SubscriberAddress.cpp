#include "velmd/requests/SubscriberAddress.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstdint>
#include <string>

namespace velm {

namespace {

constexpr std::size_t longestHostName = 253;

bool isHostCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_';
}

bool isIPv6(std::string_view host) {
    in6_addr address{};
    return inet_pton(AF_INET6, std::string(host).c_str(), &address) == 1;
}

std::string_view withoutBrackets(std::string_view host) {
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    return isBracketed ? host.substr(1, host.size() - 2) : host;
}

ORVString portIn(const Parameters& parameters) {
    const std::string text = parameters.string("SubscriberPort");
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port == 0) {
        Parameters::refuse("SubscriberPort", "must be a number from 1 to 65535");
    }
    return ORVString(std::to_string(port));
}

}  // namespace

bool isHostName(std::string_view host) {
    if (isIPv6(host)) {
        return true;
    }
    return !host.empty() && host.size() <= longestHostName && host.front() != '-' && host.front() != '.' &&
           std::all_of(host.begin(), host.end(), isHostCharacter);
}

ORVSmrPtr<CSubscriberID> subscriberIn(const Parameters& parameters) {
    const std::string given = parameters.string("SubscriberHost");
    const std::string_view host = withoutBrackets(given);
    if (!isHostName(host) || (host.size() != given.size() && !isIPv6(host))) {
        Parameters::refuse("SubscriberHost", "must be a host name or an IP address and nothing else");
    }
    return ORVSmrPtr<CSubscriberID>(
        new CSubscriberID(ORVString(host), portIn(parameters), parameters.uint32("SessionID")));
}

}  // namespace velm
