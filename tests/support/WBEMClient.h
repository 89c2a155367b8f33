#pragma once

#include "tests/support/ResponseReader.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm::test {

/// A connected socket from which HTTP responses are read one after the other, and validated. Used by one
/// thread. The destructor closes it. Failure: std::runtime_error when the peer closes or is silent for a
/// minute.
class ResponseSocket {
public:
    /// Connects to a port of this machine. `receiveBuffer`, in bytes: how much the system takes that nobody
    /// reads; 0 leaves it to the system.
    explicit ResponseSocket(std::uint16_t port, int receiveBuffer = 0);
    ResponseSocket(const ResponseSocket&) = delete;
    ResponseSocket& operator=(const ResponseSocket&) = delete;
    ~ResponseSocket();

    void send(std::string_view bytes);
    WBEMAnswer next();
    /// The next one, or nothing when the server closes instead, or is silent for a minute.
    std::optional<WBEMAnswer> nextBeforeClose();

    void close();
    /// Closes with a TCP reset.
    void reset();

private:
    bool _receiveMore();

    int _socket;
    ResponseReader _responses;
};

/// A client of the daemon with one connection, kept open; every answer is validated. Used by one thread.
/// Failure: std::runtime_error when the server cannot be reached or answers no HTTP.
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
