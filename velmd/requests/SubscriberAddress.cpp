#include "velmd/requests/SubscriberAddress.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>

#include <fmt/format.h>

namespace velm {

namespace {

constexpr std::size_t longestHostName = 253;
constexpr std::size_t longestLabel = 63;
constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";

bool consistsOf(std::string_view text, std::string_view characters) {
    return text.find_first_not_of(characters) == std::string_view::npos;
}

bool isHostCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_';
}

bool isIPv4(std::string_view host) {
    in_addr address{};
    return inet_pton(AF_INET, std::string(host).c_str(), &address) == 1;
}

/// The one spelling of an IPv6 address; nothing for what is none.
std::optional<std::string> canonicalIPv6(std::string_view host) {
    in6_addr address{};
    char text[INET6_ADDRSTRLEN] = {};
    if (host.find('\0') != host.npos || inet_pton(AF_INET6, std::string(host).c_str(), &address) != 1) {
        return std::nullopt;
    }
    return inet_ntop(AF_INET6, &address, text, sizeof text);
}

/// Resolvers take 127.1, 0x7f000001 and 0177.0.0.1 for addresses.
bool isNumber(std::string_view label) {
    const bool isHexadecimal = label.starts_with("0x") || label.starts_with("0X");
    return isHexadecimal ? consistsOf(label.substr(2), hexDigits) : consistsOf(label, digits);
}

std::string_view flawOfLabel(std::string_view label) {
    if (label.empty()) {
        return "has an empty label: a dot stands at an end, or two stand together";
    }
    if (label.size() > longestLabel) {
        return "has a label of more than 63 characters";
    }
    return label.front() == '-' || label.back() == '-' ? "has a label that begins or ends with a hyphen" : "";
}

std::string_view flawOfName(std::string_view host) {
    if (host.empty()) {
        return "is empty";
    }
    if (host.size() > longestHostName) {
        return "has more than 253 characters";
    }
    if (!std::ranges::all_of(host, isHostCharacter)) {
        return "holds a character that no host name has";
    }
    for (std::string_view rest = host;;) {
        const auto dot = rest.find('.');
        const std::string_view label = rest.substr(0, dot);
        if (const std::string_view flaw = flawOfLabel(label); !flaw.empty()) {
            return flaw;
        }
        if (dot == rest.npos) {
            return isNumber(label) && !isIPv4(host)
                       ? "ends in a number and is no IPv4 address of four decimal numbers from 0 to 255"
                       : "";
        }
        rest.remove_prefix(dot + 1);
    }
}

std::string hostIn(const Parameters& parameters) {
    const std::string given = parameters.string("SubscriberHost");
    std::string_view host = given;
    if (host.starts_with('[')) {
        host = host.substr(1, host.find(']') == host.size() - 1 ? host.size() - 2 : host.npos);
        if (host.size() + 2 != given.size() || !canonicalIPv6(host)) {
            Parameters::refuse("SubscriberHost", "holds no IPv6 address in brackets and nothing else");
        }
    }
    if (const std::string_view flaw = flawOfHost(host); !flaw.empty()) {
        Parameters::refuse("SubscriberHost",
                           fmt::format("{}; it must be a host name or an IP address", flaw));
    }
    return canonicalIPv6(host).value_or(std::string(host));
}

/// A number in its one spelling.
std::uint32_t numberIn(const Parameters& parameters, std::string_view name, std::uint32_t least,
                       std::uint32_t most) {
    const std::string text = parameters.string(name);
    if (text.empty() || !consistsOf(text, digits)) {
        Parameters::refuse(name, "must be a number of decimal digits and nothing else");
    }
    if (text.size() > 1 && text.front() == '0') {
        Parameters::refuse(name, "must be a number without leading zeros");
    }
    std::uint32_t number = 0;
    const auto error = std::from_chars(text.data(), text.data() + text.size(), number).ec;
    if (error != std::errc() || number < least || number > most) {
        Parameters::refuse(name, fmt::format("must be a number from {} to {}", least, most));
    }
    return number;
}

}  // namespace

std::string_view flawOfHost(std::string_view host) {
    if (host.find(':') == host.npos) {
        return flawOfName(host);
    }
    return canonicalIPv6(host) ? "" : "holds a colon and is no IPv6 address";
}

ORVSmrPtr<CSubscriberID> subscriberIn(const Parameters& parameters) {
    const std::string host = hostIn(parameters);
    const std::uint32_t port =
        numberIn(parameters, "SubscriberPort", 1, std::numeric_limits<std::uint16_t>::max());
    const std::uint32_t session =
        numberIn(parameters, "SessionID", 0, std::numeric_limits<std::uint32_t>::max());
    return ORVSmrPtr<CSubscriberID>(
        new CSubscriberID(ORVString(host), ORVString(std::to_string(port)), session));
}

}  // namespace velm
