#pragma once

#include "examples/client/WBEMClient.h"
#include "examples/listener/ExportMessage.h"

#include <functional>
#include <string>

/// A subscriber that keeps a connection open instead of listening.
///
/// It asks the server for a channel (RegisterNotificationChannel), and from then on each export message
/// arrives on that connection in the form of an HTTP response. Heartbeats go out on connections of their own.
/// Used by one thread. Failure: as WBEMClient.
class ChannelClient {
public:
    using Receive = std::function<void(const ExportMessage&)>;

    /// Registers at the server, under the address of this end of the connection and `session`.
    ChannelClient(std::string serverHost, std::string serverPort, unsigned int session);

    std::string host() const { return _channel.localAddress(); }
    std::string port() const { return _channel.localPort(); }

    /// Tells the server that this subscriber is alive.
    void sendHeartBeat();

    /// Hands each message to `receive`; returns when the server closes the channel.
    void run(const Receive& receive);

private:
    WBEMClient::Parameters _identity() const;

    const std::string _serverHost;
    const std::string _serverPort;
    const unsigned int _session;
    WBEMClient _channel;
};
