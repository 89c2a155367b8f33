#include "tests/support/ScriptedListener.h"

#include <cerrno>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <tuple>
#include <unistd.h>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

namespace velm::test {

namespace {

constexpr std::string_view emptyLine = "\r\n\r\n";
constexpr std::chrono::milliseconds pollInterval{20};

[[noreturn]] void raise(const char* operation) {
    throw std::system_error(errno, std::generic_category(), operation);
}

/// A socket bound to a port of `address` that the kernel chose.
std::pair<int, std::string> bindAnyPort(const std::string& address) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
    addrinfo* found = nullptr;
    if (::getaddrinfo(address.c_str(), "0", &hints, &found) != 0) {
        errno = EADDRNOTAVAIL;
        raise("getaddrinfo");
    }
    const int socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int bound = socket < 0 ? -1 : ::bind(socket, found->ai_addr, found->ai_addrlen);
    ::freeaddrinfo(found);
    if (bound != 0) {
        raise("bind");
    }
    sockaddr_storage own{};
    socklen_t size = sizeof own;
    char port[NI_MAXSERV];
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &size) != 0 ||
        ::getnameinfo(reinterpret_cast<sockaddr*>(&own), size, nullptr, 0, port, sizeof port,
                      NI_NUMERICSERV) != 0) {
        raise("getsockname");
    }
    return {socket, port};
}

bool isReadable(int socket, std::chrono::milliseconds timeout) {
    pollfd watched{socket, POLLIN, 0};
    return ::poll(&watched, 1, static_cast<int>(timeout.count())) > 0;
}

void closeWithReset(int socket) {
    const linger atOnce{1, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

}  // namespace

std::string httpResponse(std::string_view body, std::string_view statusLine, std::string_view moreHeaders) {
    std::string response(statusLine);
    response += "\r\nContent-Type: application/xml; charset=\"utf-8\"\r\nContent-Length: ";
    response += std::to_string(body.size());
    response += "\r\n";
    response += moreHeaders;
    response += "\r\n";
    return response += body;
}

std::string exportResponse(std::string_view content) {
    std::string message =
        "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n"
        "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" PROTOCOLVERSION=\"1.0\"><SIMPLEEXPRSP>"
        "<EXPMETHODRESPONSE NAME=\"ExportIndication\">";
    message += content;
    return message += "</EXPMETHODRESPONSE></SIMPLEEXPRSP></MESSAGE></CIM>";
}

Answer goodAnswer() {
    return returnValueAnswer("0");
}

Answer returnValueAnswer(std::string_view value) {
    return rawAnswer(httpResponse(exportResponse("<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>" +
                                                 std::string(value) + "</VALUE></RETURNVALUE>")));
}

Answer emptyAnswer() {
    return rawAnswer(httpResponse(exportResponse("")));
}

Answer errorAnswer(std::string_view description) {
    return rawAnswer(
        httpResponse(exportResponse("<ERROR CODE=\"1\" DESCRIPTION=\"" + std::string(description) + "\"/>")));
}

Answer rawAnswer(std::string_view bytes) {
    Answer answer;
    answer.bytes = bytes;
    return answer;
}

Answer hangingAnswer() {
    Answer answer;
    answer.end = Answer::End::hang;
    return answer;
}

Answer resettingAnswer() {
    Answer answer;
    answer.end = Answer::End::reset;
    return answer;
}

Answer closingAnswer() {
    return {};
}

ScriptedListener::ScriptedListener(Answer defaultAnswer, const std::string& address)
    : _address(address), _defaultAnswer(std::move(defaultAnswer)) {
    std::tie(_socket, _port) = bindAnyPort(address);
    if (::listen(_socket, SOMAXCONN) != 0) {
        raise("listen");
    }
    _acceptor = std::thread([this] { _accept(); });
}

ScriptedListener::~ScriptedListener() {
    stop();
}

void ScriptedListener::setDefaultAnswer(Answer answer) {
    const std::lock_guard lock(_mutex);
    _defaultAnswer = std::move(answer);
}

void ScriptedListener::queueAnswer(Answer answer) {
    const std::lock_guard lock(_mutex);
    _queuedAnswers.push_back(std::move(answer));
}

template <class Condition>
bool ScriptedListener::_wait(std::chrono::milliseconds deadline, Condition condition) const {
    std::unique_lock lock(_mutex);
    return _changed.wait_until(lock, std::chrono::steady_clock::now() + deadline, condition);
}

bool ScriptedListener::waitForRequests(std::size_t count, std::chrono::milliseconds deadline) const {
    return _wait(deadline, [&] { return _requests.size() >= count; });
}

bool ScriptedListener::waitForConnections(std::size_t count, std::chrono::milliseconds deadline) const {
    return _wait(deadline, [&] { return _connectionCount >= count; });
}

bool ScriptedListener::waitForPeerCloses(std::size_t count, std::chrono::milliseconds deadline) const {
    return _wait(deadline, [&] { return _peerCloseCount >= count; });
}

std::size_t ScriptedListener::requestCount() const {
    const std::lock_guard lock(_mutex);
    return _requests.size();
}

std::vector<ScriptedListener::Request> ScriptedListener::requests() const {
    const std::lock_guard lock(_mutex);
    return _requests;
}

std::size_t ScriptedListener::connectionCount() const {
    const std::lock_guard lock(_mutex);
    return _connectionCount;
}

void ScriptedListener::release() {
    const std::lock_guard lock(_mutex);
    _released = true;
    _changed.notify_all();
}

void ScriptedListener::stop() {
    {
        const std::lock_guard lock(_mutex);
        if (std::exchange(_stopped, true)) {
            return;
        }
        _released = true;
        _changed.notify_all();
    }
    _acceptor.join();
    ::close(_socket);
    for (Connection& connection : _connections) {
        connection.thread.join();
    }
    _connections.clear();
}

void ScriptedListener::_accept() {
    for (;;) {
        const bool pending = isReadable(_socket, pollInterval);
        _joinFinished();
        const std::lock_guard lock(_mutex);
        if (_stopped) {
            return;
        }
        const int socket = pending ? ::accept4(_socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK) : -1;
        if (socket >= 0) {
            Connection& connection = _connections.emplace_back();
            connection.socket = socket;
            connection.answer = _nextAnswer();
            connection.thread = std::thread([this, &connection] { _serve(connection); });
            ++_connectionCount;
            _changed.notify_all();
        }
    }
}

void ScriptedListener::_joinFinished() {
    std::list<Connection> finished;
    {
        const std::lock_guard lock(_mutex);
        for (auto next = _connections.begin(); next != _connections.end();) {
            const auto connection = next++;
            if (connection->finished) {
                finished.splice(finished.end(), _connections, connection);
            }
        }
    }
    for (Connection& connection : finished) {
        connection.thread.join();
    }
}

Answer ScriptedListener::_nextAnswer() {
    if (_queuedAnswers.empty()) {
        return _defaultAnswer;
    }
    Answer answer = std::move(_queuedAnswers.front());
    _queuedAnswers.pop_front();
    return answer;
}

void ScriptedListener::_serve(Connection& connection) {
    if (connection.answer.reading == Answer::Reading::nothing || _readRequest(connection)) {
        _writeAnswer(connection);
        if (connection.answer.end == Answer::End::hang) {
            _hang(connection);
        }
    }
    if (connection.answer.end == Answer::End::reset) {
        closeWithReset(connection.socket);
    }
    ::close(connection.socket);
    const std::lock_guard lock(_mutex);
    connection.finished = true;
}

bool ScriptedListener::_readRequest(const Connection& connection) {
    namespace http = boost::beast::http;
    http::request_parser<http::string_body> parser;
    parser.eager(true);
    parser.body_limit(boost::none);
    parser.header_limit(1024 * 1024);

    const bool headOnly = connection.answer.reading == Answer::Reading::headOnly;
    std::string received;
    std::size_t parsed = 0;
    while (headOnly ? !parser.is_header_done() : !parser.is_done()) {
        char chunk[16384];
        // Byte by byte where the rest is to stay unread.
        const ssize_t size = ::recv(connection.socket, chunk, headOnly ? 1 : sizeof chunk, 0);
        if (size < 0 && errno == EAGAIN) {
            if (!_pause(std::chrono::milliseconds(0))) {
                return false;
            }
            isReadable(connection.socket, pollInterval);
            continue;
        }
        if (size <= 0) {
            return false;
        }
        received.append(chunk, static_cast<std::size_t>(size));
        boost::beast::error_code error;
        parsed += parser.put(boost::asio::buffer(received.data() + parsed, received.size() - parsed), error);
        if (error && error != http::error::need_more) {
            return false;
        }
    }
    const std::size_t headSize = received.find(emptyLine) + emptyLine.size();
    const std::lock_guard lock(_mutex);
    _requests.push_back({received.substr(0, headSize), received.substr(headSize)});
    _changed.notify_all();
    return true;
}

void ScriptedListener::_writeAnswer(const Connection& connection) {
    const Answer& answer = connection.answer;
    const bool bytewise = answer.pauseAfterByte.count() > 0;
    std::string_view rest = answer.bytes;
    while (!rest.empty()) {
        const ssize_t size = ::send(connection.socket, rest.data(), bytewise ? 1 : rest.size(), MSG_NOSIGNAL);
        if (size < 0 && errno != EAGAIN) {
            return;
        }
        if (size < 0) {
            pollfd watched{connection.socket, POLLOUT, 0};
            ::poll(&watched, 1, static_cast<int>(pollInterval.count()));
        } else {
            rest.remove_prefix(static_cast<std::size_t>(size));
        }
        if (!_pause(answer.pauseAfterByte)) {
            return;
        }
    }
}

/// Waits unless the listener is being stopped; answers whether it goes on.
bool ScriptedListener::_pause(std::chrono::milliseconds duration) {
    std::unique_lock lock(_mutex);
    return !_changed.wait_until(lock, std::chrono::steady_clock::now() + duration,
                                [this] { return _stopped; });
}

void ScriptedListener::_hang(const Connection& connection) {
    for (;;) {
        {
            const std::lock_guard lock(_mutex);
            if (_released) {
                return;
            }
        }
        pollfd watched{connection.socket, POLLRDHUP, 0};
        if (::poll(&watched, 1, static_cast<int>(pollInterval.count())) > 0) {
            const std::lock_guard lock(_mutex);
            ++_peerCloseCount;
            _changed.notify_all();
            return;
        }
    }
}

RefusingPort::RefusingPort(const std::string& address) {
    std::tie(_socket, _port) = bindAnyPort(address);
}

RefusingPort::~RefusingPort() {
    ::close(_socket);
}

}  // namespace velm::test
