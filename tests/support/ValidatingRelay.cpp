#include "tests/support/ValidatingRelay.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

namespace velm::test {

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void check(bool isDone, const char* operation) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
}

int listeningSocket() {
    const int made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(0);
    check(::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "bind");
    check(::listen(made, SOMAXCONN) == 0, "listen");
    return made;
}

std::uint16_t portOf(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    check(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0, "getsockname");
    return ntohs(address.sin_port);
}

bool sendAll(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
    return true;
}

/// What is there to be received; nothing at an end.
std::string receive(int socket) {
    char chunk[16384];
    const ssize_t size = ::recv(socket, chunk, sizeof chunk, 0);
    return {chunk, size > 0 ? static_cast<std::size_t>(size) : 0};
}

}  // namespace

ValidatingRelay::ValidatingRelay(std::uint16_t target)
    : _target(target), _socket(listeningSocket()), _port(portOf(_socket)), _acceptor([this] { _accept(); }) {
}

ValidatingRelay::~ValidatingRelay() {
    ::shutdown(_socket, SHUT_RDWR);
    _acceptor.join();
    ::close(_socket);
    {
        const std::lock_guard lock(_lock);
        for (const int client : _clients) {
            ::shutdown(client, SHUT_RDWR);
        }
    }
    for (std::thread& thread : _threads) {
        thread.join();
    }
}

std::size_t ValidatingRelay::responseCount() const {
    const std::lock_guard lock(_lock);
    return _responseCount;
}

std::set<std::string> ValidatingRelay::methods() const {
    const std::lock_guard lock(_lock);
    return _methods;
}

void ValidatingRelay::_accept() {
    int client = -1;
    while ((client = ::accept4(_socket, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
        const std::lock_guard lock(_lock);
        _clients.insert(client);
        _threads.emplace_back([this, client] { _serve(client); });
    }
}

void ValidatingRelay::_serve(int client) {
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(_target);
    bool isOpen = ::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    std::string requests;
    ResponseReader responses;
    pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
    while (isOpen && ::poll(ends, 2, -1) > 0) {
        const bool isRequest = ends[0].revents != 0;
        const std::string bytes = receive(isRequest ? client : server);
        if (isRequest) {
            _noteMethods(requests += bytes);
        } else {
            responses.append(bytes);
            _validate(responses);
        }
        isOpen = !bytes.empty() && sendAll(isRequest ? server : client, bytes);
    }
    EXPECT_EQ(responses.unread(), "") << "a response that is not whole";
    const std::lock_guard lock(_lock);
    _clients.erase(client);
    ::close(client);
    ::close(server);
}

void ValidatingRelay::_validate(ResponseReader& responses) {
    while (responses.next()) {
        const std::lock_guard lock(_lock);
        ++_responseCount;
    }
}

void ValidatingRelay::_noteMethods(const std::string& requests) {
    const std::string header = "\r\nCIMMethod: ";
    const std::lock_guard lock(_lock);
    for (auto at = requests.find(header); at != std::string::npos; at = requests.find(header, at + 1)) {
        const auto first = at + header.size();
        if (const auto end = requests.find('\r', first); end != std::string::npos) {
            _methods.insert(requests.substr(first, end - first));
        }
    }
}

}  // namespace velm::test
