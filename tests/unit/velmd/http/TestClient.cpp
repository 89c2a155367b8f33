#include "tests/unit/velmd/http/TestClient.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace velm::test {

namespace {

constexpr std::chrono::milliseconds patience{10'000};
constexpr std::string_view emptyLine = "\r\n\r\n";

void check(bool isDone, const char* operation) {
    if (!isDone) {
        throw std::system_error(errno, std::generic_category(), operation);
    }
}

void leaveNoRoom(int socket) {
    const int room = 2048;
    const int segment = 88;
    check(::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &room, sizeof room) == 0, "SO_RCVBUF");
    check(::setsockopt(socket, IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment) == 0, "TCP_MAXSEG");
}

int connectTo(const std::string& address, std::uint16_t port, bool hasRoom) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    check(::getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) == 0, "getaddrinfo");
    const int socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (!hasRoom) {
        leaveNoRoom(socket);
    }
    const bool isConnected = socket >= 0 && ::connect(socket, found->ai_addr, found->ai_addrlen) == 0;
    ::freeaddrinfo(found);
    check(isConnected, "connect");
    return socket;
}

/// Whether the header line is in the form of RFC 9110 and tells the time of the last minutes.
bool isCurrentDate(const std::string& line) {
    std::tm parts{};
    const char* end = ::strptime(line.c_str(), "Date: %a, %d %b %Y %H:%M:%S GMT\r\n", &parts);
    const std::time_t age = std::time(nullptr) - ::timegm(&parts);
    return end && *end == '\0' && age >= -1 && age < 300;
}

std::string maskDates(std::string bytes) {
    constexpr std::size_t size = std::string_view("Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n").size();
    for (std::size_t at = bytes.find("Date: "); at != bytes.npos; at = bytes.find("Date: ", at + 1)) {
        if (isCurrentDate(bytes.substr(at, size))) {
            bytes.replace(at, size, "Date: DATE\r\n");
        }
    }
    return bytes;
}

std::size_t bodySizeOf(std::string_view head) {
    constexpr std::string_view name = "\r\nContent-Length: ";
    std::size_t size = 0;
    if (const std::size_t at = head.find(name); at != head.npos) {
        std::from_chars(head.data() + at + name.size(), head.data() + head.size(), size);
    }
    return size;
}

}  // namespace

HTTPServer::Options loopbackOptions() {
    HTTPServer::Options options;
    options.addresses = {"127.0.0.1"};
    options.port = 0;
    options.workers = 2;
    return options;
}

HTTPResponse echo(const HTTPRequest& request) {
    HTTPResponse response;
    response.body = request.method + ' ' + request.target + ' ' + request.body;
    return response;
}

std::string responseBytes(std::string_view status, std::string_view body, std::string_view connection,
                          std::string_view moreHeaders) {
    std::string bytes = "HTTP/1.1 ";
    bytes.append(status).append("\r\nDate: DATE\r\nServer: velmd\r\n").append(moreHeaders);
    bytes.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
    if (!connection.empty()) {
        bytes.append("Connection: ").append(connection).append("\r\n");
    }
    return bytes.append("\r\n").append(body);
}

std::string refusalBytes(std::string_view status, std::string_view reason) {
    std::string headers = "Content-Type: text/plain; charset=utf-8\r\n";
    if (status.starts_with("503 ")) {
        headers += "Retry-After: 5\r\n";
    }
    return responseBytes(status, std::string(reason) + '\n', "close", headers);
}

TestClient::TestClient(std::uint16_t port, const std::string& address)
    : TestClient(port, address, Room::usual) {
}

TestClient TestClient::withoutRoom(std::uint16_t port) {
    return {port, "127.0.0.1", Room::none};
}

TestClient::TestClient(std::uint16_t port, const std::string& address, Room room)
    : _socket(connectTo(address, port, room == Room::usual)) {
    const timeval limit{patience.count() / 1000, 0};
    check(::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0, "setsockopt");
}

TestClient::TestClient(TestClient&& other) noexcept
    : _socket(std::exchange(other._socket, -1)),
      _received(std::move(other._received)),
      _ending(other._ending) {
}

TestClient& TestClient::operator=(TestClient&& other) noexcept {
    std::swap(_socket, other._socket);
    std::swap(_received, other._received);
    std::swap(_ending, other._ending);
    return *this;
}

TestClient::~TestClient() {
    close();
}

bool TestClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void TestClient::trickle(char byte, std::chrono::milliseconds pause) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline && send({&byte, 1}) && !hasBytes(pause)) {
    }
}

std::string TestClient::receive(bool hasBody) {
    std::size_t headSize = _received.find(emptyLine);
    while (headSize == std::string::npos && _receiveSome()) {
        headSize = _received.find(emptyLine);
    }
    if (headSize == std::string::npos) {
        return std::exchange(_received, {});
    }
    headSize += emptyLine.size();
    const std::size_t bodySize = hasBody ? bodySizeOf(std::string_view(_received).substr(0, headSize)) : 0;
    return maskDates(receiveBytes(headSize + bodySize));
}

std::string TestClient::receiveBytes(std::size_t size) {
    while (_received.size() < size && _receiveSome()) {
    }
    size = std::min(size, _received.size());
    std::string rest = _received.substr(size);
    _received.resize(size);
    return std::exchange(_received, std::move(rest));
}

std::string TestClient::receiveAll() {
    while (_receiveSome()) {
    }
    return maskDates(std::exchange(_received, {}));
}

bool TestClient::_receiveSome() {
    std::array<char, 65536> chunk;
    const ssize_t count = ::recv(_socket, chunk.data(), chunk.size(), 0);
    if (count > 0) {
        _received.append(chunk.data(), static_cast<std::size_t>(count));
    } else if (count == 0) {
        _ending = Ending::closed;
    } else if (errno == ECONNRESET) {
        _ending = Ending::reset;
    }
    return count > 0;
}

bool TestClient::hasBytes(std::chrono::milliseconds limit) const {
    pollfd watched{_socket, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(limit.count())) > 0;
}

bool TestClient::waitForBytes() const {
    return hasBytes(patience);
}

bool TestClient::waitForReset() const {
    pollfd watched{_socket, 0, 0};
    return ::poll(&watched, 1, static_cast<int>(patience.count())) > 0 && (watched.revents & POLLERR) != 0;
}

std::uint16_t TestClient::localPort() const {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    check(::getsockname(_socket, reinterpret_cast<sockaddr*>(&own), &size) == 0, "getsockname");
    return ntohs(own.sin_port);
}

void TestClient::endSending() {
    ::shutdown(_socket, SHUT_WR);
}

void TestClient::close() {
    if (_socket >= 0) {
        ::close(std::exchange(_socket, -1));
    }
}

void TestClient::reset() {
    const linger atOnce{1, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close();
}

bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace velm::test
