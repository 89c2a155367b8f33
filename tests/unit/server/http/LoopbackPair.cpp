#include "tests/unit/server/http/LoopbackPair.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/in.h>
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

}  // namespace

LoopbackPair::LoopbackPair() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;

    const int listener = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    checked(::bind(listener, generic, size));
    checked(::listen(listener, 1));
    checked(::getsockname(listener, generic, &size));
    const int own = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    checked(::connect(own, generic, size));
    _peer = checked(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    ::close(listener);
    _transport = new ORVHTTPTransport(own);
    _peerName = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));

    const timeval patience{10, 0};
    checked(::setsockopt(_peer, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience));
}

LoopbackPair::~LoopbackPair() {
    close();
}

std::string LoopbackPair::receive(std::size_t size) {
    std::string received;
    std::array<char, 65536> chunk;
    while (received.size() < size) {
        const ssize_t count = ::recv(_peer, chunk.data(), std::min(chunk.size(), size - received.size()), 0);
        if (count <= 0) {
            break;
        }
        received.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return received;
}

bool LoopbackPair::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(_peer, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void LoopbackPair::endSending() {
    ::shutdown(_peer, SHUT_WR);
}

void LoopbackPair::close() {
    if (_peer != -1) {
        ::close(std::exchange(_peer, -1));
    }
}

void LoopbackPair::reset() {
    const linger atOnce{1, 0};
    checked(::setsockopt(_peer, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce));
    close();
}

}  // namespace velm::test
