#include "benchmarks/peers/Sockets.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace velm::bench {

namespace {

constexpr int backlog = 1024;

int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

Socket newSocket() {
    return Socket(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
}

void sendAtOnce(const Socket& socket) {
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

Socket::~Socket() {
    if (_descriptor >= 0) {
        ::close(_descriptor);
    }
}

Socket listenOnLoopback() {
    Socket listening = newSocket();
    const sockaddr_in address = loopback(0);
    checked(::bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    checked(::listen(listening.get(), backlog), "listen");
    return listening;
}

std::uint16_t portOf(const Socket& listening) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    checked(::getsockname(listening.get(), reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

Socket connectTo(std::uint16_t port) {
    Socket connected = newSocket();
    const sockaddr_in address = loopback(port);
    checked(::connect(connected.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            "connect");
    return connected;
}

std::pair<Socket, Socket> connectedPair() {
    const Socket listening = listenOnLoopback();
    Socket one = connectTo(portOf(listening));
    Socket two(checked(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC), "accept"));
    sendAtOnce(one);
    sendAtOnce(two);
    return {std::move(one), std::move(two)};
}

void sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto sent =
            checked(static_cast<int>(::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL)), "send");
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::size_t receive(int socket, char* buffer, std::size_t size) {
    return static_cast<std::size_t>(checked(static_cast<int>(::recv(socket, buffer, size, 0)), "recv"));
}

}  // namespace velm::bench
