#pragma once

#include "velmctl/client/ExportMessage.h"
#include "velmctl/client/WBEMClient.h"

#include <functional>

namespace velm {

/// A subscriber that keeps a connection open instead of listening.
///
/// It asks the server for a channel (RegisterNotificationChannel), and from then on each export message
/// arrives on that connection in the form of an HTTP response. Heartbeats go out on connections of their own.
/// Used by one thread. Failure: as WBEMClient, and std::runtime_error for a message that cannot be read.
class ChannelClient {
public:
    using Receive = std::function<void(const ExportMessage&)>;

    /// Registers at the server, under the address of this end of the connection and `session`.
    ChannelClient(const HostPort& server, unsigned int session,
                  std::chrono::milliseconds patience = WBEMClient::usualPatience);

    const HostPort& server() const noexcept { return _channel.server(); }
    /// The host and port of this subscriber's identity.
    const HostPort& name() const noexcept { return _name; }
    WBEMClient::Parameters identity() const { return WBEMClient::subscriber(_name, _session); }

    /// Tells the server that this subscriber is alive.
    void sendHeartBeat();

    /// Becomes readable when the next message begins, or the server closes.
    int descriptor() const noexcept { return _channel.descriptor(); }

    /// Waits for the next message and hands it to `receive`, with all that came with it; false when the
    /// server has closed the channel instead.
    bool receive(const Receive& receive);

    /// Hands each message to `receive`; returns when the server closes the channel.
    void run(const Receive& receive);

private:
    const unsigned int _session;
    const std::chrono::milliseconds _patience;
    WBEMClient _channel;
    const HostPort _name;
};

}  // namespace velm
