#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm::test {

/// What came back for an intrinsic call.
struct WBEMAnswer {
    unsigned int httpStatus = 0;
    /// Names in lower case.
    std::map<std::string, std::string> headers;
    std::string body;

    /// The code of the ERROR element; 0 when there is none.
    int status() const;
    /// Its description; empty when there is none.
    std::string description() const;
    bool has(std::string_view text) const { return body.find(text) != std::string::npos; }
};

/// A connected socket from which HTTP responses are read one after the other. Used by one thread. The
/// destructor closes it. Failure: std::runtime_error when the peer closes or is silent for a minute.
class ResponseSocket {
public:
    /// Connects to a port of this machine.
    explicit ResponseSocket(std::uint16_t port);
    ResponseSocket(const ResponseSocket&) = delete;
    ResponseSocket& operator=(const ResponseSocket&) = delete;
    ~ResponseSocket();

    void send(const std::string& bytes);
    WBEMAnswer next();

private:
    void _receiveMore();

    int _socket;
    std::string _unread;
};

/// A client of the daemon with one connection, kept open; every answer is validated against the DTD where
/// that is at hand. Used by one thread. Failure: std::runtime_error when the server cannot be reached or
/// answers no HTTP.
class WBEMClient {
public:
    using Parameters = std::vector<std::pair<std::string, std::string>>;

    explicit WBEMClient(std::uint16_t port, std::string nameSpace = "root/kob/talmora");

    /// Each parameter is a name and the element inside IPARAMVALUE.
    WBEMAnswer call(const std::string& method, const Parameters& parameters = {});

    /// The request itself, for those who send it in their own way.
    std::string request(const std::string& method, const Parameters& parameters = {}) const;

    /// The parameters that name a subscriber on this machine.
    static Parameters subscriber(const std::string& port, std::uint32_t session = 1);

private:
    const std::uint16_t _port;
    const std::string _nameSpace;
    std::unique_ptr<ResponseSocket> _connection;
};

/// CLASSNAME, VALUE and VALUE.ARRAY elements.
std::string className(std::string_view name);
std::string value(std::string_view text);

/// `left` and what `right` adds.
WBEMClient::Parameters operator+(WBEMClient::Parameters left, const WBEMClient::Parameters& right);

}  // namespace velm::test
