#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

/// Raw TCP sockets on loopback. Failure: std::system_error.
namespace velm::bench {

/// A descriptor that is closed with its owner.
class Socket {
public:
    Socket() = default;
    explicit Socket(int descriptor) : _descriptor(descriptor) {}
    Socket(Socket&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(_descriptor, other._descriptor);
        return *this;
    }
    ~Socket();

    int get() const { return _descriptor; }
    int release() { return std::exchange(_descriptor, -1); }
    void close() { Socket().swap(*this); }
    void swap(Socket& other) noexcept { std::swap(_descriptor, other._descriptor); }

private:
    int _descriptor = -1;
};

/// Listens on a port that the kernel chooses.
Socket listenOnLoopback();
std::uint16_t portOf(const Socket& listening);

Socket connectTo(std::uint16_t port);

/// Two ends of one connection.
std::pair<Socket, Socket> connectedPair();

/// Sends everything.
void sendAll(int socket, std::string_view bytes);

/// What has come; 0 at the peer's close.
std::size_t receive(int socket, char* buffer, std::size_t size);

}  // namespace velm::bench
