#include "foundation/http/ORVHTTPTransport.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "server/http/Connecting.h"
#include "server/http/Deadline.h"
#include "server/http/SocketWait.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <fmt/format.h>

using velm::Deadline;
using velm::waitUntilReady;

namespace {

constexpr long defaultSendTimeout = 30000;

enum class Outcome { done, late, broken };

/// Without a family when the socket has no peer.
sockaddr_storage peerOf(int socket) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    ::getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size);
    return peer;
}

std::string describe(const sockaddr_storage& peer) {
    if (peer.ss_family != AF_INET && peer.ss_family != AF_INET6) {
        return "an unnamed peer";
    }
    boost::asio::ip::tcp::endpoint endpoint;
    std::memcpy(endpoint.data(), &peer, endpoint.capacity());
    std::ostringstream text;
    text << endpoint;
    return text.str();
}

bool isTransient(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

constexpr const char* sendLocation = "ORVHTTPTransport::send";
constexpr const char* sendAction = "Sending to";

}  // namespace

/// The descriptor stays open until destruction: a thread still using it must not meet another connection
/// under the same number. It is driven by plain system calls, which a sender, a receiver and a closer may
/// make side by side; socket objects of Asio allow one of them at a time.
struct ORVHTTPTransport::State {
    explicit State(int connected) : State({connected, peerOf(connected)}) {}
    explicit State(const velm::Connection& connection) : socket(connection.socket), peer(connection.peer) {}

    Outcome sendAll(std::string_view bytes, const Deadline& deadline) const;
    [[noreturn]] void failSending(Outcome outcome, long timeout, int error) const;
    ssize_t receiveBy(const Deadline& deadline, char* buffer, std::size_t size);
    bool limitReceiving(const Deadline& deadline);
    bool hasUnreadBytes() const;
    [[noreturn]] void fail(const char* where, std::string_view action, std::string_view cause,
                           int code) const;
    [[noreturn]] void failClosed(const char* where, std::string_view action) const {
        fail(where, action, "the connection was closed", ENOTCONN);
    }

    const int socket;
    const sockaddr_storage peer;
    std::mutex sendTurn;
    std::atomic<bool> isClosed{false};
    std::atomic<bool> hasReceived{false};
    std::atomic<long> sendTimeout{defaultSendTimeout};
    std::atomic<long> receiveTimeout{0};
    std::atomic<Deadline> receiveDeadline{Deadline()};
    /// Milliseconds that the socket lets recv(2) wait; 0 for ever, negative when it was not told yet.
    std::atomic<int> receiveLimit{-1};
};

Outcome ORVHTTPTransport::State::sendAll(std::string_view bytes, const Deadline& deadline) const {
    while (!bytes.empty()) {
        const ssize_t size = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (size >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(size));
        } else if (!isTransient(errno)) {
            return Outcome::broken;
        } else if (!waitUntilReady(socket, POLLOUT, deadline)) {
            return Outcome::late;
        }
    }
    return Outcome::done;
}

void ORVHTTPTransport::State::failSending(Outcome outcome, long timeout, int error) const {
    if (outcome == Outcome::late) {
        fail(sendLocation, sendAction, fmt::format("timed out after {} ms", timeout), ETIMEDOUT);
    }
    fail(sendLocation, sendAction, std::system_category().message(error), error);
}

/// As recv(2), which waits by itself: one call where poll(2) would be a second one. A transient error when
/// the deadline passed first, or may have.
ssize_t ORVHTTPTransport::State::receiveBy(const Deadline& deadline, char* buffer, std::size_t size) {
    const int flags = limitReceiving(deadline) ? 0 : MSG_DONTWAIT;
    const ssize_t received = ::recv(socket, buffer, size, flags);
    if (received < 0 && isTransient(errno) && !isClosed && !deadline.hasPassed()) {
        // A socket that never blocks, for whoever handed it over, or that takes no limit.
        waitUntilReady(socket, POLLIN, deadline);
        return ::recv(socket, buffer, size, MSG_DONTWAIT);
    }
    return received;
}

/// Answers whether the socket keeps to the deadline.
bool ORVHTTPTransport::State::limitReceiving(const Deadline& deadline) {
    const int left = deadline.isNever() ? 0 : std::max(deadline.pollTimeout(), 1);
    if (receiveLimit == left) {
        return true;
    }
    const timeval limit{left / 1000, (left % 1000) * 1000};
    const bool isSet = ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0;
    receiveLimit = isSet ? left : -1;
    return isSet;
}

bool ORVHTTPTransport::State::hasUnreadBytes() const {
    char byte;
    return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

void ORVHTTPTransport::State::fail(const char* where, std::string_view action, std::string_view cause,
                                   int code) const {
    throw ORVNetException(where, ORVString(fmt::format("{} {} failed: {}", action, describe(peer), cause)),
                          code);
}

ORVHTTPTransport::ORVHTTPTransport(int socket) : _state(std::make_unique<State>(socket)) {
    ::fcntl(socket, F_SETFD, FD_CLOEXEC);
}

ORVHTTPTransport::ORVHTTPTransport(std::unique_ptr<State> state) : _state(std::move(state)) {
}

ORVHTTPTransport::~ORVHTTPTransport() {
    ::close(_state->socket);
}

std::unique_ptr<ORVHTTPTransport> ORVHTTPTransport::connect(const ORVString& host, const ORVString& port,
                                                            long timeout) {
    const auto connection = velm::connectSocket(std::string(host.view()), std::string(port.view()), timeout);
    return std::unique_ptr<ORVHTTPTransport>(new ORVHTTPTransport(std::make_unique<State>(connection)));
}

void ORVHTTPTransport::setSendTimeout(long milliseconds) {
    _state->sendTimeout = milliseconds;
}

void ORVHTTPTransport::setReceiveTimeout(long milliseconds) {
    _state->receiveTimeout = milliseconds;
    _state->receiveDeadline = Deadline::after(milliseconds);
}

void ORVHTTPTransport::send(std::string_view bytes) {
    _send(bytes, false);
}

void ORVHTTPTransport::sendRequest(std::string_view bytes) {
    _send(bytes, true);
}

void ORVHTTPTransport::_send(std::string_view bytes, bool mayBeAnsweredEarly) {
    const std::lock_guard turn(_state->sendTurn);
    const long timeout = _state->sendTimeout;
    const Outcome outcome =
        _state->isClosed ? Outcome::broken : _state->sendAll(bytes, Deadline::after(timeout));
    if (outcome == Outcome::done) {
        return;
    }
    const int error = errno;
    if (_state->isClosed) {
        _state->failClosed(sendLocation, sendAction);
    }
    if (mayBeAnsweredEarly && _state->hasUnreadBytes()) {
        return;
    }
    close();
    _state->failSending(outcome, timeout, error);
}

std::size_t ORVHTTPTransport::receive(char* buffer, std::size_t size) {
    constexpr const char* where = "ORVHTTPTransport::receive";
    constexpr const char* action = "Receiving from";
    const Deadline deadline = _state->receiveDeadline;
    ssize_t received = -1;
    do {
        if (!_state->isClosed && deadline.hasPassed()) {
            close();
            _state->fail(where, action, fmt::format("timed out after {} ms", _state->receiveTimeout.load()),
                         ETIMEDOUT);
        }
        received = _state->receiveBy(deadline, buffer, size);
    } while (received < 0 && isTransient(errno));

    const int error = errno;
    if (_state->isClosed) {
        _state->failClosed(where, action);
    }
    if (received < 0) {
        close();
        _state->fail(where, action, std::system_category().message(error), error);
    }
    _state->hasReceived = true;
    return static_cast<std::size_t>(received);
}

void ORVHTTPTransport::close() noexcept {
    if (!_state->isClosed.exchange(true)) {
        ::shutdown(_state->socket, SHUT_RDWR);
    }
}

void ORVHTTPTransport::closeAfterPeer(long milliseconds) noexcept {
    const Deadline deadline = Deadline::after(milliseconds);
    std::array<char, 4096> dropped;
    bool isOpen = milliseconds > 0 && _state->hasReceived && !_state->isClosed;
    while (isOpen && !deadline.hasPassed()) {
        // Most peers that close do it right behind their answer: there is nothing to wait for.
        const ssize_t size = ::recv(_state->socket, dropped.data(), dropped.size(), MSG_DONTWAIT);
        if (size == 0) {
            // Nobody waits on such a connection: closing the descriptor ends it soon enough.
            _state->isClosed = true;
            return;
        }
        isOpen = size > 0 || (isTransient(errno) && waitUntilReady(_state->socket, POLLIN, deadline));
    }
    close();
}

int ORVHTTPTransport::nativeHandle() const noexcept {
    return _state->isClosed ? -1 : _state->socket;
}

ORVString ORVHTTPTransport::getPeer() const {
    return ORVString(describe(_state->peer));
}
