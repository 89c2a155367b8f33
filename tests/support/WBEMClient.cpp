#include "tests/support/WBEMClient.h"

#include "tests/support/DTDCheck.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

namespace velm::test {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return text;
}

std::string attributeAfter(const std::string& text, std::string_view element, const std::string& name) {
    const auto at = text.find(element);
    const auto start = at == std::string::npos ? at : text.find(name + "=\"", at);
    if (start == std::string::npos) {
        return {};
    }
    const auto first = start + name.size() + 2;
    return text.substr(first, text.find('"', first) - first);
}

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

int WBEMAnswer::status() const {
    const std::string code = attributeAfter(body, "<ERROR ", "CODE");
    return code.empty() ? 0 : std::stoi(code);
}

std::string WBEMAnswer::description() const {
    return attributeAfter(body, "<ERROR ", "DESCRIPTION");
}

ResponseSocket::ResponseSocket(std::uint16_t port)
    : _socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{60, 0};
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        ::close(_socket);
        throw std::runtime_error("connect: " + std::generic_category().message(error));
    }
}

ResponseSocket::~ResponseSocket() {
    ::close(_socket);
}

void ResponseSocket::send(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t size = ::send(_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (size <= 0) {
            throw std::runtime_error("send: " + std::generic_category().message(errno));
        }
        sent += static_cast<std::size_t>(size);
    }
}

void ResponseSocket::_receiveMore() {
    char chunk[16384];
    const ssize_t size = ::recv(_socket, chunk, sizeof chunk, 0);
    if (size <= 0) {
        throw std::runtime_error("the server closed the connection or is silent: " + _unread);
    }
    _unread.append(chunk, static_cast<std::size_t>(size));
}

WBEMAnswer ResponseSocket::next() {
    std::size_t headEnd = 0;
    while ((headEnd = _unread.find("\r\n\r\n")) == std::string::npos) {
        _receiveMore();
    }
    WBEMAnswer answer;
    answer.httpStatus = static_cast<unsigned int>(std::stoul(_unread.substr(9, 3)));
    for (std::size_t line = _unread.find("\r\n") + 2; line < headEnd;) {
        const std::size_t end = _unread.find("\r\n", line);
        const std::size_t colon = _unread.find(':', line);
        answer.headers[lower(_unread.substr(line, colon - line))] =
            _unread.substr(colon + 2, end - colon - 2);
        line = end + 2;
    }
    const std::size_t bodyEnd = headEnd + 4 + std::stoul(answer.headers.at("content-length"));
    while (_unread.size() < bodyEnd) {
        _receiveMore();
    }
    answer.body = _unread.substr(headEnd + 4, bodyEnd - headEnd - 4);
    _unread.erase(0, bodyEnd);
    return answer;
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
    if (!answer.body.empty()) {
        EXPECT_EQ(dtdProblem(answer.body), "") << answer.body;
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
