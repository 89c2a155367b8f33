#include "server/http/Connecting.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/Deadline.h"
#include "server/http/SocketWait.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <future>
#include <netdb.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <boost/asio/error.hpp>
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

/// What the resolver says is no errno: it is negative, as from getaddrinfo(3).
int codeOf(const error_code& error) {
    return error.category() == boost::system::system_category() ? error.value() : EAI_NONAME;
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
        attempt.fail(result.error.message(), codeOf(result.error));
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

/// A new stream socket, closed at the end unless it was handed on. Negative when there is none to have.
class OwnedSocket {
public:
    explicit OwnedSocket(int family) : _descriptor(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    OwnedSocket(const OwnedSocket&) = delete;
    OwnedSocket& operator=(const OwnedSocket&) = delete;
    ~OwnedSocket() {
        if (_descriptor >= 0) {
            ::close(_descriptor);
        }
    }

    int get() const { return _descriptor; }
    int release() { return std::exchange(_descriptor, -1); }

private:
    int _descriptor;
};

/// Makes connect(2) give up at the deadline. Nothing else waits inside the socket.
void limitConnecting(int socket, const Deadline& deadline) {
    if (deadline.isNever()) {
        return;
    }
    const int left = std::max(deadline.pollTimeout(), 1);
    const timeval limit{left / 1000, (left % 1000) * 1000};
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

/// 0 once `socket` is connected, otherwise the reason; EINPROGRESS when the deadline passed first.
int connectBy(const Deadline& deadline, int socket, const tcp::endpoint& peer) {
    limitConnecting(socket, deadline);
    if (::connect(socket, peer.data(), static_cast<socklen_t>(peer.size())) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS && errno != EINTR) {
        return errno;
    }
    if (!waitUntilReady(socket, POLLOUT, deadline)) {
        return EINPROGRESS;
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

}  // namespace

Connection connectSocket(const std::string& host, const std::string& port, long timeout) {
    const Attempt attempt{host, port, timeout};
    error_code failure = asio::error::not_found;
    for (const tcp::endpoint& peer : resolve(attempt)) {
        OwnedSocket socket(peer.protocol().family());
        const int error = socket.get() < 0 ? errno : connectBy(attempt.deadline, socket.get(), peer);
        if (error == 0) {
            Connection connection{socket.release(), {}};
            std::memcpy(&connection.peer, peer.data(), peer.size());
            return connection;
        }
        if (error == EINPROGRESS) {
            attempt.failLate();
        }
        failure.assign(error, boost::system::system_category());
    }
    attempt.fail(failure.message(), failure.value());
}

}  // namespace velm
