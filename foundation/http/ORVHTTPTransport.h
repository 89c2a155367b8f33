#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

#include <cstddef>
#include <memory>
#include <string_view>

/// A connected TCP socket whose every operation has a deadline.
///
/// Threads: one thread may send while another receives, and close() may be called beside both; two threads
/// that send take turns, one whole call after the other. Failure: everything the network does wrong is an
/// ORVNetException whose message names the peer and the cause; after a failed or late operation the
/// connection is closed.
class VELM_EXPORT ORVHTTPTransport {
public:
    /// Takes over a connected stream socket; the descriptor is closed with this object.
    explicit ORVHTTPTransport(int socket);
    ORVHTTPTransport(const ORVHTTPTransport&) = delete;
    ORVHTTPTransport& operator=(const ORVHTTPTransport&) = delete;
    virtual ~ORVHTTPTransport();

    /// Connects to `host` (a name or an address, IPv6 without brackets), trying its addresses in turn, within
    /// `timeout` milliseconds in all.
    static std::unique_ptr<ORVHTTPTransport> connect(const ORVString& host, const ORVString& port,
                                                     long timeout);

    /// Milliseconds that one send may take in all, counted from its turn; 0 for no limit. Starts at 30000.
    virtual void setSendTimeout(long milliseconds);

    /// Milliseconds, counted from this call, in which everything that is to be received must have arrived; 0
    /// for no limit. Starts without a limit.
    virtual void setReceiveTimeout(long milliseconds);

    /// Sends all of `bytes`.
    virtual void send(std::string_view bytes);

    /// Receives at least one and at most `size` bytes; answers how many, 0 when the peer has closed its side.
    virtual std::size_t receive(char* buffer, std::size_t size);

    /// Shuts the connection down; whoever is sending or receiving fails at once. May be called twice.
    virtual void close() noexcept;

    /// Sends all of `bytes` as send() does, for a request: a peer that stops reading after it has answered is
    /// no failure, and its answer can be received.
    virtual void sendRequest(std::string_view bytes);

    /// Gives a peer from which something was received `milliseconds` to close first, then closes. Whatever
    /// still comes is dropped. The side that closes first keeps the port occupied for a minute. When the peer
    /// has closed, it sees this side's close once the object is destroyed. Requires: nobody is sending.
    virtual void closeAfterPeer(long milliseconds) noexcept;

    /// The descriptor, for watching only; -1 once closed.
    int nativeHandle() const noexcept;

    /// Address and port of the other side: "127.0.0.1:5990", "[::1]:5990".
    ORVString getPeer() const;

private:
    struct State;

    explicit ORVHTTPTransport(std::unique_ptr<State> state);

    void _send(std::string_view bytes, bool mayBeAnsweredEarly);

    std::unique_ptr<State> _state;
};
