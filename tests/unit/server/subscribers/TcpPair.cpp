#include "tests/unit/server/subscribers/TcpPair.h"

#include "tests/support/SubscriberBuilders.h"

#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velm::test {

namespace {

int checked(int result) {
    if (result == -1) {
        throw std::system_error(errno, std::system_category());
    }
    return result;
}

void setPatience(int socket) {
    const timeval limit{TcpPair::patience / 1000, 0};
    checked(::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit));
    checked(::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit));
}

}  // namespace

TcpPair::TcpPair() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;

    const int listener = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    checked(::bind(listener, generic, size));
    checked(::listen(listener, 1));
    checked(::getsockname(listener, generic, &size));
    _peer = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    checked(::connect(_peer, generic, size));
    _server = checked(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    ::close(listener);
    setPatience(_peer);
}

TcpPair::TcpPair(TcpPair&& other) noexcept
    : _server(std::exchange(other._server, -1)), _peer(std::exchange(other._peer, -1)) {
}

TcpPair::~TcpPair() {
    close();
    if (_server != -1) {
        ::close(_server);
    }
}

ORVSmrPtr<CSubscriberNetworkConnection> TcpPair::takeConnection() {
    ORVSmrPtr<ORVHTTPTransport> transport(new ORVHTTPTransport(std::exchange(_server, -1)));
    return ORVSmrPtr<CSubscriberNetworkConnection>(new CSubscriberNetworkConnection(transport));
}

void TcpPair::close() {
    if (_peer != -1) {
        ::close(std::exchange(_peer, -1));
    }
}

void TcpPair::reset() {
    const linger atOnce{1, 0};
    checked(::setsockopt(_peer, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce));
    close();
}

bool TcpPair::send(std::size_t size) {
    const std::array<char, 4096> bytes{};
    while (size > 0) {
        const ssize_t sent = ::send(_peer, bytes.data(), std::min(size, bytes.size()), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool TcpPair::seesEnd() {
    std::array<char, 4096> bytes;
    ssize_t size = 1;
    while (size > 0) {
        size = ::recv(_peer, bytes.data(), bytes.size(), 0);
    }
    return size == 0 || errno == ECONNRESET;
}

ORVSmrPtr<CSubscriber> makeChannelSubscriber(TcpPair& pair, std::uint32_t sessionID) {
    return ORVSmrPtr<CSubscriber>(
        new CSubscriber(makeSubscriberID(sessionID), "localhost", "5988", pair.takeConnection()));
}

}  // namespace velm::test
