#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/http/ORVHTTPTransport.h"
#include "foundation/subscribers/CSubscriber.h"

#include <cstdint>
#include <string>

namespace velm::test {

/// The two ends of one TCP connection over loopback: `server`, which a transport takes over, and the peer.
class TcpPair {
public:
    /// How long a waiting operation waits for the other side.
    static constexpr int patience = 10'000;

    TcpPair();
    TcpPair(TcpPair&& other) noexcept;
    TcpPair(const TcpPair&) = delete;
    TcpPair& operator=(const TcpPair&) = delete;
    ~TcpPair();

    /// A connection that owns the server's end. Called once.
    ORVSmrPtr<CSubscriberNetworkConnection> takeConnection();

    /// The peer closes, or closes with a TCP reset.
    void close();
    void reset();

    /// The peer sends `size` bytes; false when they were not all taken in time.
    bool send(std::size_t size);

    /// Whether the peer sees the end of the connection in time; what comes before it is dropped.
    bool seesEnd();

private:
    int _server = -1;
    int _peer = -1;
};

/// A subscriber with the identity 127.0.0.1:5990 and this session, whose persistent channel is `pair`.
ORVSmrPtr<CSubscriber> makeChannelSubscriber(TcpPair& pair, std::uint32_t sessionID = 1);

}  // namespace velm::test
