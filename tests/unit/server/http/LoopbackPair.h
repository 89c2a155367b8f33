#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/http/ORVHTTPTransport.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace velm::test {

/// The two ends of one TCP connection over loopback: a transport, and a peer that tests drive byte by byte.
/// The peer's receiving gives up after ten seconds.
class LoopbackPair {
public:
    LoopbackPair();
    LoopbackPair(const LoopbackPair&) = delete;
    LoopbackPair& operator=(const LoopbackPair&) = delete;
    ~LoopbackPair();

    const ORVSmrPtr<ORVHTTPTransport>& transport() const { return _transport; }
    /// Gives up this object's handle; with the last one the descriptor is closed, and a peer that is sending
    /// fails.
    void dropTransport() { _transport = nullptr; }
    /// "127.0.0.1:port", as messages name the peer.
    const std::string& peerName() const { return _peerName; }

    /// What the peer gets, `size` bytes at most; fewer when the connection ends or falls silent.
    std::string receive(std::size_t size);
    /// False when the connection is gone.
    bool send(std::string_view bytes);
    /// The peer ends its side, closes, or closes with a TCP reset.
    void endSending();
    void close();
    void reset();

private:
    ORVSmrPtr<ORVHTTPTransport> _transport;
    std::string _peerName;
    int _peer = -1;
};

/// The message of the ORVNetException that `operation` throws; fails the test and answers "" when it throws
/// none.
template <class Operation>
std::string netFailureOf(Operation operation);

}  // namespace velm::test

#include "foundation/utilities/OrvoBaseException.h"

#include <gtest/gtest.h>

template <class Operation>
std::string velm::test::netFailureOf(Operation operation) {
    try {
        operation();
    } catch (const ORVNetException& failure) {
        return std::string(failure.getMessage().view());
    }
    ADD_FAILURE() << "no ORVNetException";
    return {};
}
