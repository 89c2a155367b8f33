#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// Where somebody listens.
struct HostPort {
    /// A name or an address; IPv6 without brackets.
    std::string host;
    /// Decimal digits.
    std::string port;

    /// "HOST:PORT", an IPv6 address in brackets. `defaultPort` stands in for a port that is not there;
    /// without one it is required. Throws ClientError (badAddress) that says what is wrong.
    static HostPort parse(std::string_view text, std::string_view defaultPort = {});

    /// As parse() reads it.
    std::string text() const;

    bool operator==(const HostPort&) const = default;
};

/// The addresses of this machine among those of `host`, as literals. Throws ClientError: unresolved when the
/// host is not known, or looking it up takes longer than `patience`; notLocal when none of its addresses is a
/// loopback one (127.0.0.0/8, ::1).
std::vector<std::string> loopbackAddresses(const std::string& host,
                                           std::chrono::milliseconds patience = std::chrono::seconds(10));

}  // namespace velm
