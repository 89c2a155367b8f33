#pragma once

#include "velmctl/client/HostPort.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace velm {

/// A connection to an HTTP server on this machine, each of whose operations has a deadline.
///
/// Used by one thread. Failure: ClientError (unresolved, notLocal, noServer, noAnswer, noCIMServer); after
/// one the connection is of no more use.
class LocalConnection {
public:
    /// A CIM-XML response (DSP0200), as far as a client looks at it.
    struct Response {
        unsigned int status;
        std::string reason;
        /// The headers CIMError and CIMErrorDetails; empty when absent.
        std::string error;
        std::string errorDetails;
        std::string body;
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

    /// The next response; nothing when the peer closes instead.
    std::optional<Response> receive();

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace velm
