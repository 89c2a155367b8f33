#include "velmctl/client/HostPort.h"

#include "velmctl/client/ClientError.h"
#include "velmctl/client/InTime.h"

#include <cstdint>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/url/authority_view.hpp>
#include <boost/url/parse.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

using tcp = boost::asio::ip::tcp;

constexpr std::size_t quotedSize = 80;

[[noreturn]] void refuse(std::string_view text, std::string_view defaultPort) {
    const char* form = defaultPort.empty() ? "HOST:PORT" : "HOST or HOST:PORT";
    throw ClientError(ClientError::Kind::badAddress,
                      fmt::format("'{}' is not {}, for example 127.0.0.1:5988 or [::1]:5988",
                                  text.substr(0, quotedSize), form));
}

bool isPort(std::string_view text, std::uint16_t number) {
    return number != 0 && text == std::to_string(number);
}

struct Resolution {
    bool hasFailed = false;
    std::vector<std::string> loopback;
};

Resolution resolve(const std::string& host) {
    boost::asio::io_context context;
    boost::system::error_code failure;
    const auto found = tcp::resolver(context).resolve(host, "", failure);
    Resolution resolution{static_cast<bool>(failure), {}};
    for (const auto& entry : found) {
        if (entry.endpoint().address().is_loopback()) {
            resolution.loopback.push_back(entry.endpoint().address().to_string());
        }
    }
    return resolution;
}

}  // namespace

HostPort HostPort::parse(std::string_view text, std::string_view defaultPort) {
    const auto authority = boost::urls::parse_authority(text);
    if (!authority || authority->has_userinfo() || authority->encoded_host().empty()) {
        refuse(text, defaultPort);
    }
    HostPort result{authority->host_address(), authority->port()};
    if (result.port.empty() && !authority->has_port()) {
        result.port = defaultPort;
    } else if (!isPort(result.port, authority->port_number())) {
        refuse(text, defaultPort);
    }
    if (result.port.empty()) {
        refuse(text, defaultPort);
    }
    return result;
}

std::string HostPort::text() const {
    const bool isV6 = host.find(':') != std::string::npos;
    return isV6 ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
}

std::vector<std::string> loopbackAddresses(const std::string& host, std::chrono::milliseconds patience) {
    const auto resolution = inTime<Resolution>(patience, [host] { return resolve(host); });
    if (!resolution) {
        throw ClientError(ClientError::Kind::unresolved,
                          fmt::format("looking up the host '{}' took longer than {} s", host,
                                      static_cast<double>(patience.count()) / 1000));
    }
    if (resolution->hasFailed) {
        throw ClientError(ClientError::Kind::unresolved,
                          fmt::format("the host '{}' does not resolve to an address", host));
    }
    if (resolution->loopback.empty()) {
        throw ClientError(ClientError::Kind::notLocal,
                          fmt::format("the host '{}' is not this machine", host));
    }
    return resolution->loopback;
}

}  // namespace velm
