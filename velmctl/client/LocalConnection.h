#pragma once

#include "velmctl/client/HostPort.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm {

/// A connection to an HTTP server on this machine, each of whose operations has a deadline.
///
/// Used by one thread. Failure: ClientError (unresolved, notLocal, noServer, noAnswer, noCIMServer); after
/// one the connection is of no more use.
class LocalConnection {
public:
    struct Response {
        unsigned int status = 0;
        std::string reason;
        /// Names and values, as they came.
        std::vector<std::pair<std::string, std::string>> headers;
        std::string body;

        /// The value of the first header of this name, letter case ignored; empty when there is none.
        std::string header(std::string_view name) const;
    };

    /// Connects. `patience` is for each operation.
    LocalConnection(const HostPort& peer, std::chrono::milliseconds patience);
    LocalConnection(const LocalConnection&) = delete;
    LocalConnection& operator=(const LocalConnection&) = delete;
    ~LocalConnection();

    const HostPort& peer() const noexcept;
    /// This end.
    HostPort local() const;

    /// The descriptor, for watching only: it becomes readable when something comes, or the peer closes.
    int descriptor() const noexcept;
    /// Whether the start of a further response was received with the last one.
    bool hasUnread() const noexcept;

    /// Posts a CIM operation request for `method` in `nameSpace`.
    void send(const std::string& method, const std::string& nameSpace, const std::string& body);

    /// Asks for what is at `target`, a path with or without a query.
    void get(const std::string& target);

    /// The next response; nothing when the peer closes instead.
    std::optional<Response> receive();

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace velm
