#include "tests/support/WBEMClient.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velm::test {

namespace {

std::string namespacePath(std::string_view nameSpace) {
    std::string xml = "<LOCALNAMESPACEPATH>";
    while (!nameSpace.empty()) {
        const auto part = nameSpace.substr(0, nameSpace.find('/'));
        xml += "<NAMESPACE NAME=\"" + std::string(part) + "\"/>";
        nameSpace.remove_prefix(std::min(nameSpace.size(), part.size() + 1));
    }
    return xml + "</LOCALNAMESPACEPATH>";
}

}  // namespace

ResponseSocket::ResponseSocket(std::uint16_t port, int receiveBuffer)
    : _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{60, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (receiveBuffer > 0) {
        ::setsockopt(_socket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        close();
        throw std::runtime_error("connect: " + std::generic_category().message(error));
    }
}

ResponseSocket::~ResponseSocket() {
    close();
}

void ResponseSocket::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = ::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size <= 0) {
            throw std::runtime_error("send: " + std::generic_category().message(errno));
        }
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
}

bool ResponseSocket::_receiveMore() {
    char chunk[16384];
    const ssize_t size = ::recv(_socket, chunk, sizeof chunk, 0);
    if (size > 0) {
        _responses.append({chunk, static_cast<std::size_t>(size)});
    }
    return size > 0;
}

WBEMAnswer ResponseSocket::next() {
    for (;;) {
        if (std::optional<WBEMAnswer> answer = _responses.next()) {
            return *answer;
        }
        if (!_receiveMore()) {
            throw std::runtime_error("the server closed the connection or is silent: " + _responses.unread());
        }
    }
}

std::optional<WBEMAnswer> ResponseSocket::nextBeforeClose() {
    return _responses.unread().empty() && !_receiveMore() ? std::nullopt : std::optional(next());
}

void ResponseSocket::close() {
    if (_socket >= 0) {
        ::close(std::exchange(_socket, -1));
    }
}

void ResponseSocket::reset() {
    const linger atOnce{1, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close();
}

WBEMClient::WBEMClient(std::uint16_t port, std::string nameSpace)
    : _port(port), _nameSpace(std::move(nameSpace)) {
}

std::string WBEMClient::request(const std::string& method, const Parameters& parameters) const {
    std::string body =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE "
        "ID=\"1001\" "
        "PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"" +
        method + "\">" + namespacePath(_nameSpace);
    for (const auto& [name, element] : parameters) {
        body += "<IPARAMVALUE NAME=\"" + name + "\">" + element + "</IPARAMVALUE>";
    }
    body += "</IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";
    return "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/xml; charset=\"utf-8\"\r\n"
           "CIMOperation: MethodCall\r\nCIMMethod: " +
           method + "\r\nCIMObject: " + _nameSpace + "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

WBEMAnswer WBEMClient::call(const std::string& method, const Parameters& parameters) {
    if (!_connection) {
        _connection = std::make_unique<ResponseSocket>(_port);
    }
    _connection->send(request(method, parameters));
    WBEMAnswer answer = _connection->next();
    if (answer.headers.contains("connection") && answer.headers.at("connection") == "close") {
        _connection.reset();
    }
    return answer;
}

WBEMClient::Parameters WBEMClient::subscriber(const std::string& port, std::uint32_t session) {
    return {{"SubscriberHost", value("127.0.0.1")},
            {"SubscriberPort", value(port)},
            {"SessionID", value(std::to_string(session))}};
}

std::string className(std::string_view name) {
    return "<CLASSNAME NAME=\"" + std::string(name) + "\"/>";
}

std::string value(std::string_view text) {
    return "<VALUE>" + std::string(text) + "</VALUE>";
}

WBEMClient::Parameters operator+(WBEMClient::Parameters left, const WBEMClient::Parameters& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

}  // namespace velm::test
