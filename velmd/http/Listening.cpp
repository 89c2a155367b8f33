#include "velmd/http/Listening.h"

#include "foundation/services/ORVLog.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <optional>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

#include <fmt/format.h>

namespace velm {

namespace {

/// A port that is free on one address may be taken on the next.
constexpr int maxAttempts = 64;

struct Address {
    std::string text;
    int family = AF_INET;
    sockaddr_in v4{};
    sockaddr_in6 v6{};

    sockaddr* data() {
        return family == AF_INET ? reinterpret_cast<sockaddr*>(&v4) : reinterpret_cast<sockaddr*>(&v6);
    }
    socklen_t size() const { return family == AF_INET ? sizeof v4 : sizeof v6; }
    in_port_t& port() { return family == AF_INET ? v4.sin_port : v6.sin6_port; }
};

Address parse(const std::string& text) {
    Address address{.text = text};
    address.v4.sin_family = AF_INET;
    address.v6.sin6_family = AF_INET6;
    if (::inet_pton(AF_INET, text.c_str(), &address.v4.sin_addr) == 1) {
        if ((ntohl(address.v4.sin_addr.s_addr) >> 24) == IN_LOOPBACKNET) {
            return address;
        }
    } else if (::inet_pton(AF_INET6, text.c_str(), &address.v6.sin6_addr) == 1) {
        address.family = AF_INET6;
        if (IN6_IS_ADDR_LOOPBACK(&address.v6.sin6_addr)) {
            return address;
        }
    }
    throw std::invalid_argument(fmt::format(
        "Cannot listen on '{}': only loopback addresses are allowed (127.0.0.0/8 and ::1)", text));
}

std::vector<Address> parseAll(const std::vector<std::string>& addresses) {
    if (addresses.empty()) {
        throw std::invalid_argument("There is no address to listen on");
    }
    std::vector<Address> parsed;
    for (const std::string& text : addresses) {
        parsed.push_back(parse(text));
    }
    return parsed;
}

[[noreturn]] void fail(const Address& address, std::uint16_t port) {
    const int error = errno;
    throw std::system_error(error, std::generic_category(),
                            fmt::format("Cannot listen on {} port {}", address.text, port));
}

/// Listens, and sets `port` to the kernel's choice when it is 0.
Descriptor listen(Address address, std::uint16_t& port) {
    Descriptor socket(::socket(address.family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    address.port() = htons(port);
    if (!socket || ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        (address.family == AF_INET6 &&
         ::setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on) != 0) ||
        ::bind(socket.get(), address.data(), address.size()) != 0 || ::listen(socket.get(), SOMAXCONN) != 0) {
        fail(address, port);
    }
    socklen_t size = address.size();
    if (::getsockname(socket.get(), address.data(), &size) != 0) {
        fail(address, port);
    }
    port = ntohs(address.port());
    return socket;
}

bool isLackOfAddress(const std::error_code& code) {
    return code == std::errc::address_not_available || code == std::errc::address_family_not_supported;
}

void logLeftOut(const std::system_error& failure) {
    ORVLog::log("HTTPServer",
                std::string_view(fmt::format("{}; the other addresses are served", failure.what())),
                OrvoTraceLog::SeverityWarning, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

Listening listenOnce(const std::vector<Address>& addresses, std::uint16_t port) {
    Listening result{.sockets = {}, .port = port};
    std::optional<std::system_error> lack;
    for (const Address& address : addresses) {
        try {
            result.sockets.push_back(listen(address, result.port));
        } catch (const std::system_error& failure) {
            if (address.family != AF_INET6 || !isLackOfAddress(failure.code())) {
                throw;
            }
            lack = failure;
        }
    }
    if (lack && result.sockets.empty()) {
        throw *lack;
    }
    if (lack) {
        logLeftOut(*lack);
    }
    return result;
}

}  // namespace

Listening listenOn(const std::vector<std::string>& addresses, std::uint16_t port) {
    const std::vector<Address> parsed = parseAll(addresses);
    for (int attempt = 1;; ++attempt) {
        try {
            return listenOnce(parsed, port);
        } catch (const std::system_error& failure) {
            if (port != 0 || failure.code() != std::errc::address_in_use || attempt == maxAttempts) {
                throw;
            }
        }
    }
}

}  // namespace velm
