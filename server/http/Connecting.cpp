#include "server/http/Connecting.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/Deadline.h"

#include <charconv>
#include <cstdint>
#include <future>
#include <string_view>
#include <thread>
#include <vector>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using Endpoints = std::vector<tcp::endpoint>;

struct LookUp {
    error_code error;
    Endpoints endpoints;
};

/// One attempt to connect: whom it is for and how long it may take.
struct Attempt {
    const std::string& host;
    const std::string& port;
    const long timeout;
    const Deadline deadline = Deadline::after(timeout);

    [[noreturn]] void fail(std::string_view cause, int code) const {
        const bool isIPv6 = host.find(':') != std::string::npos;
        const std::string peer =
            isIPv6 ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
        throw ORVNetException("ORVHTTPTransport::connect",
                              ORVString(fmt::format("Connecting to {} failed: {}", peer, cause)), code);
    }

    [[noreturn]] void failLate() const { fail(fmt::format("timed out after {} ms", timeout), ETIMEDOUT); }
};

std::uint16_t portNumber(const Attempt& attempt) {
    std::uint16_t number = 0;
    const char* end = attempt.port.data() + attempt.port.size();
    const auto [parsed, error] = std::from_chars(attempt.port.data(), end, number);
    if (error != std::errc() || parsed != end || number == 0) {
        attempt.fail("not a port number", EINVAL);
    }
    return number;
}

LookUp lookUp(const std::string& host, std::uint16_t port) {
    LookUp result;
    asio::io_context loop;
    for (const auto& entry : tcp::resolver(loop).resolve(host, std::to_string(port), result.error)) {
        result.endpoints.push_back(entry.endpoint());
    }
    return result;
}

/// The system's resolver cannot be interrupted, so a thread of its own asks it and is left behind when it is
/// late.
Endpoints resolveName(const Attempt& attempt, std::uint16_t port) {
    std::promise<LookUp> promise;
    std::future<LookUp> future = promise.get_future();
    std::thread([promise = std::move(promise), host = attempt.host, port]() mutable {
        promise.set_value(lookUp(host, port));
    }).detach();
    if (attempt.deadline.isNever()) {
        future.wait();
    } else if (future.wait_until(attempt.deadline.time()) != std::future_status::ready) {
        attempt.failLate();
    }
    LookUp result = future.get();
    if (result.error) {
        attempt.fail(result.error.message(), result.error.value());
    }
    return std::move(result.endpoints);
}

Endpoints resolve(const Attempt& attempt) {
    const std::uint16_t port = portNumber(attempt);
    // An empty name would be looked up as this machine's, and one with a zero byte in it as what stands
    // before.
    if (attempt.host.empty() || attempt.host.find('\0') != std::string::npos) {
        attempt.fail("not a host name", EINVAL);
    }
    error_code notAnAddress;
    const auto address = asio::ip::make_address(attempt.host, notAnAddress);
    return notAnAddress ? resolveName(attempt, port) : Endpoints{tcp::endpoint(address, port)};
}

}  // namespace

int connectSocket(const std::string& host, const std::string& port, long timeout) {
    const Attempt attempt{host, port, timeout};
    const Endpoints endpoints = resolve(attempt);

    asio::io_context loop(1);
    tcp::socket socket(loop);
    error_code outcome = asio::error::would_block;
    asio::async_connect(socket, endpoints, [&](error_code error, const tcp::endpoint&) { outcome = error; });
    if (attempt.deadline.isNever()) {
        loop.run();
    } else {
        loop.run_until(attempt.deadline.time());
    }
    if (!loop.stopped()) {
        socket.close(outcome);
        loop.run();
        attempt.failLate();
    }
    if (outcome) {
        attempt.fail(outcome.message(), outcome.value());
    }
    return socket.release();
}

}  // namespace velm
